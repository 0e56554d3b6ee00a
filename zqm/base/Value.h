// Value: the one type for everything dynamic, from JSON answers to stored records.
#pragma once

#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "zqm/base/Export.h"

namespace zqm {

class Value;
struct DictionaryEntry;

using Bytes = std::vector<std::uint8_t>;
using List = std::vector<Value>;

// An instant. Arithmetic on it saturates (see util/Date.h).
using Date = std::chrono::sys_time<std::chrono::milliseconds>;

// A text field: normally a text or absent, but it may hold any value that a server, a file or a
// host put there.
using Text = Value;

// A string-keyed map that keeps the order of insertion; equality ignores that order.
class ZQM_EXPORT Dictionary {
 public:
  Dictionary();
  Dictionary(std::initializer_list<DictionaryEntry> entries);
  Dictionary(const Dictionary&);
  Dictionary(Dictionary&&) noexcept;
  Dictionary& operator=(const Dictionary&);
  Dictionary& operator=(Dictionary&&) noexcept;
  ~Dictionary();

  // The value under `key`, or an absent one. The reference lives until the next change.
  const Value& operator[](std::string_view key) const;
  bool contains(std::string_view key) const;

  // An absent value removes the key; a key that is set again keeps its place.
  void set(std::string_view key, Value value);
  // Makes room for so many entries in all.
  void reserve(std::size_t count) { entries_.reserve(count); }

  std::size_t size() const;
  bool empty() const;
  std::vector<DictionaryEntry>::const_iterator begin() const;
  std::vector<DictionaryEntry>::const_iterator end() const;

  bool operator==(const Dictionary& other) const;

 private:
  // No hash table, whose keys a server could choose so that all of them meet.
  using Index = std::map<std::string, std::size_t, std::less<>>;

  std::optional<std::size_t> find(std::string_view key) const;

  std::vector<DictionaryEntry> entries_;
  // Made only past a few entries, so that a huge answer of a server costs no quadratic time. Aside,
  // so that a value, which may be a dictionary, is no larger than a text.
  std::unique_ptr<Index> index_;
};

class ZQM_EXPORT Value {
 public:
  struct Null {
    bool operator==(const Null&) const = default;
  };

  Value() = default;
  // Not inline: they would stand, at length, wherever a value comes and goes.
  Value(const Value&);
  Value(Value&&) noexcept;
  Value& operator=(const Value&);
  Value& operator=(Value&&) noexcept;
  ~Value();

  Value(Null value) : data_(value) {}
  Value(std::same_as<bool> auto value) : data_(value) {}
  // An unsigned 64-bit number beyond the signed range becomes its largest value.
  Value(std::integral auto value) requires(!std::same_as<decltype(value), bool>)
      : data_(std::in_range<std::int64_t>(value) ? static_cast<std::int64_t>(value) : INT64_MAX) {}
  Value(double value) : data_(value) {}
  // A null pointer is an absent value: what getenv answers for a variable that is not set.
  Value(const char* value);
  Value(std::nullptr_t) {}
  Value(std::nullopt_t) {}
  Value(std::string_view value) : data_(std::string(value)) {}
  Value(std::string value) : data_(std::move(value)) {}
  Value(Bytes value) : data_(std::move(value)) {}
  Value(Date value) : data_(value) {}
  Value(List value);
  Value(Dictionary value);
  template <std::convertible_to<Value> T>
  Value(std::optional<T> value) {
    if (value) *this = Value(std::move(*value));
  }

  bool isAbsent() const { return std::holds_alternative<std::monostate>(data_); }
  bool isPresent() const { return !isAbsent(); }
  bool isNull() const { return std::holds_alternative<Null>(data_); }

  // Each answers none (or a null pointer) for a value of another kind.
  std::optional<bool> boolean() const { return get<bool>(); }
  std::optional<std::int64_t> integer() const { return get<std::int64_t>(); }
  std::optional<double> real() const { return get<double>(); }
  std::optional<Date> date() const { return get<Date>(); }
  const std::string* text() const { return std::get_if<std::string>(&data_); }
  const Bytes* bytes() const { return std::get_if<Bytes>(&data_); }
  const List* list() const;
  const Dictionary* dictionary() const;

  // Moves the dictionary out of a dictionary value; none for another kind.
  std::optional<Dictionary> takeDictionary() &&;

  // The text of a text value, or none.
  std::optional<std::string> string() const { return get<std::string>(); }

  // A number as it stands, a text by its leading decimal digits (after blanks and a sign), a
  // boolean as 1 or 0; none for every other kind. A number outside 32 bits keeps its low 32 bits
  // (a fraction is cut off first, beyond 64 bits it saturates there, NaN is 0); a text saturates.
  std::optional<std::int32_t> integerReading() const;
  // The same, with 0 where there is no integer reading.
  std::int32_t intValue() const { return integerReading().value_or(0); }

  // How the value reads inside a text: a boolean as "1" or "0", an absent value as "(null)".
  std::string textForm() const;

  bool operator==(const Value& other) const { return data_ == other.data_; }

 private:
  template <class T>
  std::optional<T> get() const {
    const T* found = std::get_if<T>(&data_);
    return found ? std::optional<T>(*found) : std::nullopt;
  }

  std::variant<std::monostate, Null, bool, std::int64_t, double, std::string, Bytes, Date, List,
               Dictionary>
      data_;
};

struct DictionaryEntry {
  std::string key;
  Value value;

  bool operator==(const DictionaryEntry&) const = default;
};

inline Value::Value(const char* value) {
  if (value) data_ = std::string(value);
}
inline Value::Value(List value) : data_(std::move(value)) {}
inline Value::Value(Dictionary value) : data_(std::move(value)) {}
inline std::optional<Dictionary> Value::takeDictionary() && {
  Dictionary* found = std::get_if<Dictionary>(&data_);
  return found ? std::optional(std::move(*found)) : std::nullopt;
}
inline const List* Value::list() const { return std::get_if<List>(&data_); }
inline const Dictionary* Value::dictionary() const { return std::get_if<Dictionary>(&data_); }

// True when the value's text form is exactly "YES", "true" or "1".
ZQM_EXPORT bool parseToBool(const Value& value);

// `text` as bytes and back, without any check of the encoding.
ZQM_EXPORT Bytes toBytes(std::string_view text);
ZQM_EXPORT std::string_view asText(const Bytes& bytes);

}  // namespace zqm
