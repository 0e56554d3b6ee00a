// Value: the one type for all dynamic data, from JSON responses to stored records.
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

// A point in time. Arithmetic on it saturates (see util/Date.h).
using Date = std::chrono::sys_time<std::chrono::milliseconds>;

// A text field: normally a string or absent, but it may hold any value that a server, a file or a
// host put there.
using Text = Value;

// A string-keyed map in insertion order; equality ignores the order.
class ZQM_EXPORT Dictionary {
 public:
  Dictionary();
  Dictionary(std::initializer_list<DictionaryEntry> entries);
  Dictionary(const Dictionary&);
  Dictionary(Dictionary&&) noexcept;
  Dictionary& operator=(const Dictionary&);
  Dictionary& operator=(Dictionary&&) noexcept;
  ~Dictionary();

  // Returns the value under `key`, or an absent one. The reference is valid until the next change.
  const Value& operator[](std::string_view key) const;
  bool contains(std::string_view key) const;

  // An absent value removes the key; a key that is set again keeps its position.
  void set(std::string_view key, Value value);
  // Reserves memory for `count` entries in all.
  void reserve(std::size_t count);

  std::size_t size() const;
  bool empty() const;
  std::vector<DictionaryEntry>::const_iterator begin() const;
  std::vector<DictionaryEntry>::const_iterator end() const;

  bool operator==(const Dictionary& other) const;

 private:
  // Not a hash table: a server could choose keys that all collide.
  using Index = std::map<std::string, std::size_t, std::less<>>;

  std::optional<std::size_t> find(std::string_view key) const;

  std::vector<DictionaryEntry> entries_;
  // Built at 128 entries, so that a huge response does not take quadratic time. By pointer, so that
  // a Dictionary is no larger than a std::string and does not enlarge Value.
  std::unique_ptr<Index> index_;
};

class ZQM_EXPORT Value {
 public:
  struct Null {
    bool operator==(const Null&) const = default;
  };

  Value() = default;
  // Out of line to keep the code small.
  Value(const Value&);
  Value(Value&&) noexcept;
  Value& operator=(const Value&);
  Value& operator=(Value&&) noexcept;
  ~Value();

  Value(Null value) : data_(value) {}
  Value(std::same_as<bool> auto value) : data_(value) {}
  // An unsigned number above INT64_MAX becomes INT64_MAX.
  Value(std::integral auto value) requires(!std::same_as<decltype(value), bool>)
      : data_(std::in_range<std::int64_t>(value) ? static_cast<std::int64_t>(value) : INT64_MAX) {}
  Value(double value) : data_(value) {}
  // A null pointer, such as getenv returns for an unset variable, gives an absent value.
  Value(const char* value) {
    if (value) data_ = std::string(value);
  }
  Value(std::nullptr_t) {}
  Value(std::nullopt_t) {}
  Value(std::string_view value) : data_(std::string(value)) {}
  Value(std::string value) : data_(std::move(value)) {}
  Value(Bytes value) : data_(std::move(value)) {}
  Value(Date value) : data_(value) {}
  Value(List value) : data_(std::move(value)) {}
  Value(Dictionary value) : data_(std::move(value)) {}
  template <std::convertible_to<Value> T>
  Value(std::optional<T> value) {
    if (value) *this = Value(std::move(*value));
  }

  bool isAbsent() const { return std::holds_alternative<std::monostate>(data_); }
  bool isPresent() const { return !isAbsent(); }
  bool isNull() const { return std::holds_alternative<Null>(data_); }

  // Each returns std::nullopt (or a null pointer) for a value of another type.
  std::optional<bool> boolean() const { return get<bool>(); }
  std::optional<std::int64_t> integer() const { return get<std::int64_t>(); }
  std::optional<double> real() const { return get<double>(); }
  std::optional<Date> date() const { return get<Date>(); }
  const std::string* text() const { return std::get_if<std::string>(&data_); }
  const Bytes* bytes() const { return std::get_if<Bytes>(&data_); }
  const List* list() const { return std::get_if<List>(&data_); }
  const Dictionary* dictionary() const { return std::get_if<Dictionary>(&data_); }

  // Moves the dictionary out of the value. Returns std::nullopt for a value of another type.
  std::optional<Dictionary> takeDictionary() && {
    Dictionary* found = std::get_if<Dictionary>(&data_);
    return found ? std::optional(std::move(*found)) : std::nullopt;
  }

  // Like `text`, but returns a copy.
  std::optional<std::string> string() const { return get<std::string>(); }

  // Reads the value as a 32-bit integer. Numbers are truncated to an integer (saturating at 64
  // bits; NaN is 0), of which the low 32 bits remain. Texts are read by their leading digits,
  // saturating: "12 items" gives 12. Booleans give 0 or 1. Any other type gives std::nullopt.
  std::optional<std::int32_t> integerReading() const;
  // Like `integerReading`, but 0 instead of std::nullopt.
  std::int32_t intValue() const { return integerReading().value_or(0); }

  // The value as a string, for use inside a text: "1" or "0" for a boolean, "(null)" if absent.
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

// Returns whether the value's text form is exactly "YES", "true" or "1".
ZQM_EXPORT bool parseToBool(const Value& value);

// Converts between `text` and its bytes; the encoding is not checked.
ZQM_EXPORT Bytes toBytes(std::string_view text);
ZQM_EXPORT std::string_view asText(const Bytes& bytes);

}  // namespace zqm
