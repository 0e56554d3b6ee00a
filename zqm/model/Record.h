// Record: derives a record's four conversions from its one list of fields.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <tuple>

#include "zqm/model/Coder.h"
#include "zqm/model/ZQMObjectModel.h"
#include "zqm/util/Date.h"

namespace zqm {

// An immutable, shared sequence of records, in a container chosen by its owner.
template <class S>
concept RecordSequence = requires(S& sequence, std::shared_ptr<const typename S::Record> record) {
  sequence.append(record);
  sequence.forEach([](const typename S::Record&) {});
};

template <class R>
concept NestedRecord = std::derived_from<R, ZQMObjectModel>;

// The conversions of each field type to and from a dictionary's value. A missing or unsuitable
// value resets the field. A nested record that may be absent is a std::optional.
namespace field {

inline Value inDictionary(const Text& text) { return text; }
inline Value inDictionary(std::int32_t number) { return number; }
inline Value inDictionary(bool flag) { return flag ? "true" : "false"; }
inline Value inDictionary(const std::optional<Date>& date) {
  return date ? Value(toString(*date)) : Value();
}
inline Value inDictionary(const ZQMObjectModel& record) { return record.toDictionary(); }
template <NestedRecord R>
Value inDictionary(const std::optional<R>& record) {
  return record ? Value(record->toDictionary()) : Value();
}
template <RecordSequence S>
Value inDictionary(const std::optional<S>& sequence) {
  if (!sequence) return {};
  List list;
  sequence->forEach([&](const auto& record) { list.emplace_back(record.toDictionary()); });
  return list;
}

inline void fromDictionary(const Value& value, Text& text) { text = value; }
inline void fromDictionary(const Value& value, std::int32_t& number) { number = value.intValue(); }
inline void fromDictionary(const Value& value, bool& flag) { flag = parseToBool(value); }
inline void fromDictionary(const Value& value, std::optional<Date>& date) {
  date = value.text() ? parse(*value.text()) : std::nullopt;
}
template <NestedRecord R>
void fromDictionary(const Value& value, R& record) {
  // Not R(), which would have its defaults.
  const Value blank = Dictionary();
  record = *R::initWithDictionary(value.dictionary() ? value : blank);
}
template <NestedRecord R>
void fromDictionary(const Value& value, std::optional<R>& record) {
  record = value.dictionary() ? R::initWithDictionary(value) : std::nullopt;
}
// Elements that are not dictionaries are skipped.
template <RecordSequence S>
void fromDictionary(const Value& value, std::optional<S>& sequence) {
  sequence.reset();
  if (!value.list()) return;
  sequence.emplace();
  for (const Value& element : *value.list()) {
    auto record = S::Record::initWithDictionary(element);
    if (record) sequence->append(std::make_shared<const typename S::Record>(*std::move(record)));
  }
}

inline void encode(Coder& coder, std::string_view key, const Text& text) {
  coder.encodeObject(key, text);
}
inline void encode(Coder& coder, std::string_view key, std::int32_t number) {
  coder.encodeInt(key, number);
}
inline void encode(Coder& coder, std::string_view key, bool flag) { coder.encodeBool(key, flag); }
inline void encode(Coder& coder, std::string_view key, const std::optional<Date>& date) {
  coder.encodeObject(key, date);
}
template <NestedRecord R>
void encode(Coder& coder, std::string_view key, const R& record) {
  Coder nested;
  record.encodeWithCoder(nested);
  coder.encodeObject(key, nested.entries());
}
template <NestedRecord R>
void encode(Coder& coder, std::string_view key, const std::optional<R>& record) {
  if (record) encode(coder, key, *record);
}
template <RecordSequence S>
void encode(Coder& coder, std::string_view key, const std::optional<S>& sequence) {
  if (!sequence) return;
  List list;
  sequence->forEach([&](const auto& record) {
    Coder nested;
    record.encodeWithCoder(nested);
    list.emplace_back(nested.entries());
  });
  coder.encodeObject(key, std::move(list));
}

inline void decode(const Coder& coder, std::string_view key, Text& text) {
  text = coder.decodeObject(key);
}
inline void decode(const Coder& coder, std::string_view key, std::int32_t& number) {
  number = coder.decodeInt(key);
}
inline void decode(const Coder& coder, std::string_view key, bool& flag) {
  flag = coder.decodeBool(key);
}
inline void decode(const Coder& coder, std::string_view key, std::optional<Date>& date) {
  date = coder.decodeObject(key).date();
}
template <NestedRecord R>
void decode(const Coder& coder, std::string_view key, R& record) {
  const Value object = coder.decodeObject(key);
  const Dictionary* nested = object.dictionary();
  record = R::initWithCoder(Coder(nested ? *nested : Dictionary()));
}
template <NestedRecord R>
void decode(const Coder& coder, std::string_view key, std::optional<R>& record) {
  record.reset();
  if (!coder.decodeObject(key).dictionary()) return;
  decode(coder, key, record.emplace());
}
template <RecordSequence S>
void decode(const Coder& coder, std::string_view key, std::optional<S>& sequence) {
  const Value object = coder.decodeObject(key);
  sequence.reset();
  if (!object.list()) return;
  sequence.emplace();
  for (const Value& element : *object.list()) {
    if (!element.dictionary()) continue;
    sequence->append(std::make_shared<const typename S::Record>(
        S::Record::initWithCoder(Coder(*element.dictionary()))));
  }
}

}  // namespace field

// One row of a record: a member and its name.
template <class R, class T>
struct Field {
  std::string_view name;
  T R::*member;
};

// Checks that a record has as many members as rows: if a row or a member was forgotten, this does
// not compile.
template <std::size_t kRows, class R>
constexpr void bindMembers(const R& record) {
  static_assert(0 < kRows && kRows <= 26, "A larger record needs another line here.");
#define ZQM_BIND(count, ...)                             \
  if constexpr (kRows == (count)) {                      \
    [[maybe_unused]] const auto& [__VA_ARGS__] = record; \
  }
  ZQM_BIND(1, a);
  ZQM_BIND(2, a, b);
  ZQM_BIND(3, a, b, c);
  ZQM_BIND(4, a, b, c, d);
  ZQM_BIND(5, a, b, c, d, e);
  ZQM_BIND(6, a, b, c, d, e, f);
  ZQM_BIND(7, a, b, c, d, e, f, g);
  ZQM_BIND(8, a, b, c, d, e, f, g, h);
  ZQM_BIND(9, a, b, c, d, e, f, g, h, i);
  ZQM_BIND(10, a, b, c, d, e, f, g, h, i, j);
  ZQM_BIND(11, a, b, c, d, e, f, g, h, i, j, k);
  ZQM_BIND(12, a, b, c, d, e, f, g, h, i, j, k, l);
  ZQM_BIND(13, a, b, c, d, e, f, g, h, i, j, k, l, m);
  ZQM_BIND(14, a, b, c, d, e, f, g, h, i, j, k, l, m, n);
  ZQM_BIND(15, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o);
  ZQM_BIND(16, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p);
  ZQM_BIND(17, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q);
  ZQM_BIND(18, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r);
  ZQM_BIND(19, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s);
  ZQM_BIND(20, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t);
  ZQM_BIND(21, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u);
  ZQM_BIND(22, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v);
  ZQM_BIND(23, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w);
  ZQM_BIND(24, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w, x);
  ZQM_BIND(25, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w, x, y);
  ZQM_BIND(26, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w, x, y, z);
#undef ZQM_BIND
}

// The base of a concrete record `R`, which has plain data members, a `kClassName` and one row for
// each member, in the order of its dictionary:
//   static constexpr auto kFields = std::tuple{member("date", &Self::date), ...};
template <class R>
class Record : public ZQMObjectModel {
 public:
  // Whether an absent dictionary gives an empty record instead of std::nullopt.
  static constexpr bool kEmptyWhenAbsent = false;

  // Calls visit(row) for each row.
  template <class Visit>
  static void forEachRow(Visit visit) {
    std::apply([&](const auto&... row) { (visit(row), ...); }, R::kFields);
  }

  // Calls visit(name, member) for each member of `record`.
  template <class Object, class Visit>
  static void fields(Object& record, Visit visit) {
    bindMembers<std::tuple_size_v<decltype(R::kFields)>>(record);
    forEachRow([&](const auto& row) { visit(row.name, record.*row.member); });
  }

  Dictionary toDictionary() const override {
    Dictionary dictionary;
    fields(static_cast<const R&>(*this), [&](std::string_view key, const auto& member) {
      dictionary.set(key, field::inDictionary(member));
    });
    return dictionary;
  }

  // Sets every field, so that a record that was read has no defaults. Returns std::nullopt if
  // `dictionary` is not a dictionary, unless `kEmptyWhenAbsent`.
  static std::optional<R> initWithDictionary(const Value& dictionary) {
    if (!dictionary.dictionary() && !R::kEmptyWhenAbsent) return std::nullopt;
    const Dictionary none;
    const Dictionary& entries = dictionary.dictionary() ? *dictionary.dictionary() : none;
    R record;
    fields(record, [&](std::string_view key, auto& member) {
      field::fromDictionary(entries[key], member);
    });
    return record;
  }

  void encodeWithCoder(Coder& coder) const {
    fields(static_cast<const R&>(*this),
           [&](std::string_view key, const auto& member) { field::encode(coder, key, member); });
  }

  static R initWithCoder(const Coder& coder) {
    R record;
    fields(record, [&](std::string_view key, auto& member) { field::decode(coder, key, member); });
    return record;
  }

 protected:
  using Self = R;

  template <class T>
  static constexpr Field<R, T> member(std::string_view name, T R::*member) {
    return {name, member};
  }
};

}  // namespace zqm
