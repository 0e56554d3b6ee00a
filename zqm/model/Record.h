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

namespace field {

// A form of records: how it represents flags, dates and nested records. Texts and numbers stay as
// they are.
//
// The form of `toDictionary`, for JSON and the store.
struct DictionaryForm {
  static Value from(const auto& member) { return member; }
  static Value from(bool flag) { return flag ? "true" : "false"; }
  static Value from(const std::optional<Date>& date) {
    return date ? Value(toString(*date)) : Value();
  }
  static Value from(const NestedRecord auto& record) { return record.toDictionary(); }

  static bool flagIn(const Value& value) { return parseToBool(value); }
  static std::optional<Date> dateIn(const Value& value) {
    return value.text() ? parse(*value.text()) : std::nullopt;
  }
  template <class R>
  static R recordIn(const Value& dictionary) {
    return *R::initWithDictionary(dictionary);
  }
};

// The form of a Coder's entries.
struct CoderForm {
  static Value from(const auto& member) { return member; }
  static Value from(const NestedRecord auto& record) {
    Coder coder;
    record.encodeWithCoder(coder);
    return coder.entries();
  }

  static bool flagIn(const Value& value) { return value.boolean().value_or(false); }
  static std::optional<Date> dateIn(const Value& value) { return value.date(); }
  template <class R>
  static R recordIn(const Value& dictionary) {
    return R::initWithCoder(Coder(*dictionary.dictionary()));
  }
};

// Returns a field in a form; an absent nested record or sequence as an absent value.
template <class Form>
Value write(const auto& member) {
  return Form::from(member);
}
template <class Form, NestedRecord R>
Value write(const std::optional<R>& record) {
  return record ? Form::from(*record) : Value();
}
template <class Form, RecordSequence S>
Value write(const std::optional<S>& sequence) {
  if (!sequence) return {};
  List list;
  sequence->forEach([&](const auto& record) { list.push_back(Form::from(record)); });
  return list;
}

// Reads a field. A missing or unsuitable value resets it.
template <class Form>
void read(const Value& value, Text& text) {
  text = value;
}
template <class Form>
void read(const Value& value, std::int32_t& number) {
  number = value.intValue();
}
template <class Form>
void read(const Value& value, bool& flag) {
  flag = Form::flagIn(value);
}
template <class Form>
void read(const Value& value, std::optional<Date>& date) {
  date = Form::dateIn(value);
}
template <class Form, NestedRecord R>
void read(const Value& value, R& record) {
  // Not R(), which would have its defaults.
  const Value blank = Dictionary();
  record = Form::template recordIn<R>(value.dictionary() ? value : blank);
}
template <class Form, NestedRecord R>
void read(const Value& value, std::optional<R>& record) {
  record.reset();
  if (value.dictionary()) record = Form::template recordIn<R>(value);
}
// Elements that are not dictionaries are skipped.
template <class Form, RecordSequence S>
void read(const Value& value, std::optional<S>& sequence) {
  using R = typename S::Record;
  sequence.reset();
  if (!value.list()) return;
  sequence.emplace();
  for (const Value& element : *value.list()) {
    if (!element.dictionary()) continue;
    sequence->append(std::make_shared<const R>(Form::template recordIn<R>(element)));
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
      dictionary.set(key, field::write<field::DictionaryForm>(member));
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
      field::read<field::DictionaryForm>(entries[key], member);
    });
    return record;
  }

  void encodeWithCoder(Coder& coder) const {
    fields(static_cast<const R&>(*this), [&](std::string_view key, const auto& member) {
      coder.encodeObject(key, field::write<field::CoderForm>(member));
    });
  }

  static R initWithCoder(const Coder& coder) {
    R record;
    fields(record, [&](std::string_view key, auto& member) {
      field::read<field::CoderForm>(coder.entries()[key], member);
    });
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
