// Numbers: parsed by ICU, formatted without it.
#include "zqm/util/Numbers.h"

#include <unicode/decimfmt.h>
#include <unicode/numfmt.h>

#include <charconv>
#include <cmath>
#include <memory>

#include "zqm/util/Icu.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

// Longer than any number; limits the parser's time.
constexpr std::size_t kMaximumLength = 1000;

}  // namespace

std::optional<Value> parseDecimal(std::string_view text) {
  if (text.empty() || text.size() > kMaximumLength || !isValidUtf8(text)) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::NumberFormat> format(
      icu::NumberFormat::createInstance(currentLocale(), UNUM_DECIMAL, status));
  if (U_FAILURE(status)) return std::nullopt;
  const icu::UnicodeString whole = toUnicode(text);
  icu::ParsePosition position;
  icu::Formattable number;
  format->parse(whole, number, position);
  if (position.getIndex() != whole.length()) return std::nullopt;
  if (number.getType() != icu::Formattable::kDouble) return Value(number.getInt64());
  const double real = number.getDouble();
  return std::isfinite(real) ? std::optional<Value>(real) : std::nullopt;
}

std::string formatSeconds(double seconds) {
  if (!std::isfinite(seconds)) return "0";
  char buffer[400];
  const auto end =
      std::to_chars(std::begin(buffer), std::end(buffer), seconds, std::chars_format::fixed, 2).ptr;
  std::string text(buffer, end);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text == "-0" ? "0" : text;
}

}  // namespace zqm
