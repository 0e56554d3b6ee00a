// Value and Dictionary: lookup, integer readings and text forms.
#include "zqm/base/Value.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace zqm {
namespace {

// Below this size a linear search is as fast as an index, and needs less memory.
constexpr std::size_t kIndexedFrom = 128;

// Never destroyed: threads may still look up values while the process exits.
union Immortal {
  constexpr Immortal() : value() {}
  ~Immortal() {}
  Value value;
};
constinit const Immortal kAbsent;

std::int32_t lowBits(std::int64_t number) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
}

std::int32_t fromReal(double number) {
  if (std::isnan(number)) return 0;
  if (number >= 0x1p63) return lowBits(std::numeric_limits<std::int64_t>::max());
  if (number < -0x1p63) return lowBits(std::numeric_limits<std::int64_t>::min());
  return lowBits(static_cast<std::int64_t>(number));
}

std::int32_t fromText(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  std::uint32_t digits = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), digits);
  const std::int64_t number = result.ec == std::errc::result_out_of_range ? UINT32_MAX : digits;
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(negative ? -number : number, INT32_MIN, INT32_MAX));
}

std::string realText(double number) {
  char buffer[32];
  const auto [end, error] = std::to_chars(std::begin(buffer), std::end(buffer), number);
  return error == std::errc() ? std::string(buffer, end) : std::string();
}

std::string listText(const List& list) {
  std::string text = "(";
  for (const Value& element : list) {
    text += text.size() == 1 ? "\n    " : ",\n    ";
    text += element.textForm();
  }
  return text + "\n)";
}

std::string dictionaryText(const Dictionary& dictionary) {
  std::string text = "{";
  for (const auto& [key, value] : dictionary)
    text += "\n    " + key + " = " + value.textForm() + ";";
  return text + "\n}";
}

}  // namespace

Value::Value(const Value&) = default;
Value::Value(Value&&) noexcept = default;
Value& Value::operator=(const Value&) = default;
Value& Value::operator=(Value&&) noexcept = default;
Value::~Value() = default;

Dictionary::Dictionary() = default;
Dictionary::Dictionary(const Dictionary& other)
    : entries_(other.entries_),
      index_(other.index_ ? std::make_unique<Index>(*other.index_) : nullptr) {}
Dictionary::Dictionary(Dictionary&&) noexcept = default;
Dictionary& Dictionary::operator=(const Dictionary& other) { return *this = Dictionary(other); }
Dictionary& Dictionary::operator=(Dictionary&&) noexcept = default;
Dictionary::~Dictionary() = default;

Dictionary::Dictionary(std::initializer_list<DictionaryEntry> entries) {
  for (const DictionaryEntry& entry : entries) set(entry.key, entry.value);
}

std::optional<std::size_t> Dictionary::find(std::string_view key) const {
  if (index_) {
    const auto found = index_->find(key);
    return found == index_->end() ? std::nullopt : std::optional(found->second);
  }
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].key == key) return i;
  }
  return std::nullopt;
}

const Value& Dictionary::operator[](std::string_view key) const {
  const auto position = find(key);
  return position ? entries_[*position].value : kAbsent.value;
}

bool Dictionary::contains(std::string_view key) const { return find(key).has_value(); }

void Dictionary::set(std::string_view key, Value value) {
  const auto position = find(key);
  if (value.isAbsent()) {
    if (!position) return;
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(*position));
    index_.reset();
  } else if (position) {
    entries_[*position].value = std::move(value);
    return;
  } else {
    entries_.push_back({std::string(key), std::move(value)});
  }
  if (entries_.size() < kIndexedFrom) return;
  if (!index_) index_ = std::make_unique<Index>();
  for (std::size_t i = index_->size(); i < entries_.size(); ++i) {
    index_->emplace(entries_[i].key, i);
  }
}

void Dictionary::reserve(std::size_t count) { entries_.reserve(count); }

std::size_t Dictionary::size() const { return entries_.size(); }
bool Dictionary::empty() const { return entries_.empty(); }
std::vector<DictionaryEntry>::const_iterator Dictionary::begin() const { return entries_.begin(); }
std::vector<DictionaryEntry>::const_iterator Dictionary::end() const { return entries_.end(); }

bool Dictionary::operator==(const Dictionary& other) const {
  if (size() != other.size()) return false;
  return std::all_of(begin(), end(), [&](const DictionaryEntry& entry) {
    const auto position = other.find(entry.key);
    return position && other.entries_[*position].value == entry.value;
  });
}

std::optional<std::int32_t> Value::integerReading() const {
  if (const auto number = integer()) return lowBits(*number);
  if (const auto number = real()) return fromReal(*number);
  if (const auto flag = boolean()) return *flag ? 1 : 0;
  if (const std::string* digits = text()) return fromText(*digits);
  return std::nullopt;
}

std::string Value::textForm() const {
  if (const std::string* own = text()) return *own;
  if (const auto flag = boolean()) return *flag ? "1" : "0";
  if (const auto number = integer()) return std::to_string(*number);
  if (const auto number = real()) return realText(*number);
  if (const auto instant = date()) return std::to_string(instant->time_since_epoch().count());
  if (const Bytes* raw = bytes()) return std::to_string(raw->size()) + " bytes";
  if (const List* elements = list()) return listText(*elements);
  if (const Dictionary* entries = dictionary()) return dictionaryText(*entries);
  return isNull() ? "<null>" : "(null)";
}

bool parseToBool(const Value& value) {
  if (value.isAbsent()) return false;
  const std::string text = value.textForm();
  return text == "YES" || text == "true" || text == "1";
}

Bytes toBytes(std::string_view text) {
  const auto* const begin = reinterpret_cast<const std::uint8_t*>(text.data());
  return Bytes(begin, begin + text.size());
}

std::string_view asText(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace zqm
