// JSON with nlohmann/json: its event parser fills a Value, its writer quotes texts and numbers.
#include "zqm/util/Json.h"

#include <charconv>
#include <cmath>
#include <limits>

// The library asserts that converting a number consumes its whole token, which fails in a locale
// whose decimal point is longer than one byte; `readReal` converts the token again.
#define JSON_ASSERT(condition) static_cast<void>(0)
#include <nlohmann/json.hpp>

#include "zqm/base/Exception.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

using nlohmann::json;

constexpr std::size_t kMaximumDepth = 512;
constexpr const char* kTooDeep = "There are more than 512 levels.";
// A value takes about 100 bytes of memory, but may take only two bytes of text.
constexpr std::size_t kMostValues = 500'000;
constexpr std::int64_t kReadingFailed = 1;
constexpr std::int64_t kWritingFailed = 2;

Error jsonError(std::int64_t code, std::string_view description, std::string reason) {
  return {std::string(kJsonErrorDomain),
          code,
          {{std::string(kLocalizedDescriptionKey), description},
           {std::string(kLocalizedFailureReasonKey), std::move(reason)}},
          ""};
}

// Converts the token again, because `converted` and the token's decimal point depend on the
// process's locale, which is the host's.
double readReal(std::string token, double converted) {
  for (char& c : token) {
    if ((c < '0' || c > '9') && c != '-' && c != '+' && c != 'e' && c != 'E') c = '.';
  }
  double number = 0;
  const auto result = std::from_chars(token.data(), token.data() + token.size(), number);
  if (result.ec == std::errc()) return number;
  return std::abs(converted) < 1 ? 0 : std::numeric_limits<double>::infinity();
}

// Receives the parser's events; returning false ends the parsing.
class Builder : public nlohmann::json_sax<json> {
 public:
  bool null() override { return add(Value::Null()); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(number_integer_t value) override { return add(value); }
  bool number_unsigned(number_unsigned_t value) override {
    if (std::in_range<std::int64_t>(value)) return add(value);
    return add(static_cast<double>(value));
  }
  bool number_float(number_float_t converted, const string_t& token) override {
    const double value = readReal(token, converted);
    return std::isfinite(value) ? add(value) : fail("A number is too large.");
  }
  bool string(string_t& value) override { return add(std::move(value)); }
  bool binary(binary_t&) override { return false; }
  bool start_object(std::size_t) override { return open(Dictionary()); }
  bool start_array(std::size_t) override { return open(List()); }
  bool key(string_t& key) override {
    open_.back().key = std::move(key);
    return true;
  }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }
  bool parse_error(std::size_t position, const std::string&, const json::exception&) override {
    return fail("There is no valid JSON at byte " + std::to_string(position) + ".");
  }

  Value takeValue() { return std::move(value_); }
  const std::string& failure() const { return failure_; }

 private:
  struct Container {
    std::variant<Dictionary, List> content;
    // The key of the next entry.
    std::string key;
  };

  bool fail(std::string reason) {
    failure_ = std::move(reason);
    return false;
  }

  bool open(std::variant<Dictionary, List> empty) {
    if (open_.size() == kMaximumDepth) return fail(kTooDeep);
    open_.push_back({std::move(empty), ""});
    return true;
  }

  bool close() {
    Container container = std::move(open_.back());
    open_.pop_back();
    return std::visit([&](auto& content) { return add(std::move(content)); }, container.content);
  }

  bool add(Value value) {
    if (++values_ > kMostValues) return fail("There are more than 500,000 values.");
    if (open_.empty()) {
      value_ = std::move(value);
    } else if (List* list = std::get_if<List>(&open_.back().content)) {
      list->push_back(std::move(value));
    } else {
      std::get<Dictionary>(open_.back().content).set(open_.back().key, std::move(value));
    }
    return true;
  }

  std::vector<Container> open_;
  Value value_;
  std::size_t values_ = 0;
  std::string failure_;
};

// Each `write` appends to `out` and returns the reason of a failure, or a null pointer.
const char* write(std::string& out, const Value& value, std::size_t depth);

const char* write(std::string& out, const std::string& text) {
  if (!isValidUtf8(text)) return "A text is not valid UTF-8.";
  out += json(text).dump();
  return nullptr;
}

const char* write(std::string& out, const List& list, std::size_t depth) {
  char before = '[';
  for (const Value& element : list) {
    out += std::exchange(before, ',');
    if (const char* failure = write(out, element, depth)) return failure;
  }
  out += list.empty() ? "[]" : "]";
  return nullptr;
}

const char* write(std::string& out, const Dictionary& dictionary, std::size_t depth) {
  char before = '{';
  for (const auto& [key, value] : dictionary) {
    out += std::exchange(before, ',');
    if (const char* failure = write(out, key)) return failure;
    out += ':';
    if (const char* failure = write(out, value, depth)) return failure;
  }
  out += dictionary.empty() ? "{}" : "}";
  return nullptr;
}

// `depth` is the number of lists and dictionaries around the value.
const char* write(std::string& out, const Value& value, std::size_t depth) {
  const List* list = value.list();
  const Dictionary* dictionary = value.dictionary();
  if ((list || dictionary) && depth == kMaximumDepth) return kTooDeep;
  if (list) return write(out, *list, depth + 1);
  if (dictionary) return write(out, *dictionary, depth + 1);
  if (const std::string* text = value.text()) return write(out, *text);
  if (const auto number = value.real()) {
    if (!std::isfinite(*number)) return "JSON has no infinity and no NaN.";
    out += json(*number).dump();
  } else if (const auto integer = value.integer()) {
    out += std::to_string(*integer);
  } else if (const auto boolean = value.boolean()) {
    out += *boolean ? "true" : "false";
  } else if (value.isNull()) {
    out += "null";
  } else {
    return "JSON has no absent values, dates and bytes.";
  }
  return nullptr;
}

}  // namespace

JsonReading readJson(std::string_view text) {
  Builder builder;
  const auto failed = [](std::string reason) {
    return JsonReading{{}, jsonError(kReadingFailed, "The text is not JSON.", std::move(reason))};
  };
  // The library would skip a byte order mark and take a zero byte for the end of the text.
  if (text.starts_with("\xEF\xBB\xBF")) return failed("There is a byte order mark.");
  if (text.find('\0') != std::string_view::npos) return failed("There is a zero byte.");
  if (!json::sax_parse(text.begin(), text.end(), &builder)) return failed(builder.failure());
  return {builder.takeValue(), std::nullopt};
}

JsonWriting writeJson(const Value& value) {
  std::string text;
  if (const char* failure = write(text, value, 0)) {
    return {"", jsonError(kWritingFailed, "The value cannot be written as JSON.", failure)};
  }
  return {std::move(text), std::nullopt};
}

Dictionary readJsonObject(std::string_view text) {
  JsonReading json = readJson(text);
  if (auto dictionary = std::move(json.value).takeDictionary()) return *std::move(dictionary);
  const std::string description =
      json.error ? json.error->localizedDescription() : "The JSON text holds no object.";
  const Text reason = json.error ? json.error->userInfo[kLocalizedFailureReasonKey] : Text();
  throw Exception(description, reason.text() ? *reason.text() : description,
                  {{"NSUnderlyingError", callStackText(callStackSymbols())}});
}

}  // namespace zqm
