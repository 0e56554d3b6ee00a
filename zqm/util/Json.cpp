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
    if (open_.size() == kMaximumDepth) return fail("There are more than 512 levels.");
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

// Appends to the text. Each `write` returns the reason of a failure, or a null pointer.
class Writer {
 public:
  const char* write(const Value& value, std::size_t depth) {
    if (const List* list = value.list()) return write(*list, depth);
    if (const Dictionary* dictionary = value.dictionary()) return write(*dictionary, depth);
    if (const std::string* text = value.text()) return write(*text);
    if (const auto number = value.real()) {
      if (!std::isfinite(*number)) return "JSON has no infinity and no NaN.";
      text_ += json(*number).dump();
    } else if (const auto integer = value.integer()) {
      text_ += std::to_string(*integer);
    } else if (const auto boolean = value.boolean()) {
      text_ += *boolean ? "true" : "false";
    } else if (value.isNull()) {
      text_ += "null";
    } else {
      return "JSON has no absent values, dates and bytes.";
    }
    return nullptr;
  }

  std::string takeText() { return std::move(text_); }

 private:
  static constexpr const char* kTooDeep = "There are more than 512 levels.";

  const char* write(const std::string& text) {
    if (!isValidUtf8(text)) return "A text is not valid UTF-8.";
    text_ += json(text).dump();
    return nullptr;
  }

  const char* write(const List& list, std::size_t depth) {
    if (depth == kMaximumDepth) return kTooDeep;
    char before = '[';
    for (const Value& element : list) {
      text_ += std::exchange(before, ',');
      if (const char* failure = write(element, depth + 1)) return failure;
    }
    text_ += list.empty() ? "[]" : "]";
    return nullptr;
  }

  const char* write(const Dictionary& dictionary, std::size_t depth) {
    if (depth == kMaximumDepth) return kTooDeep;
    char before = '{';
    for (const auto& [key, value] : dictionary) {
      text_ += std::exchange(before, ',');
      if (const char* failure = write(key)) return failure;
      text_ += ':';
      if (const char* failure = write(value, depth + 1)) return failure;
    }
    text_ += dictionary.empty() ? "{}" : "}";
    return nullptr;
  }

  std::string text_;
};

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
  Writer writer;
  if (const char* failure = writer.write(value, 0)) {
    return {"", jsonError(kWritingFailed, "The value cannot be written as JSON.", failure)};
  }
  return {writer.takeText(), std::nullopt};
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
