// JSON (RFC 8259) to and from Value. `readJson` and `writeJson` never throw; both refuse more than
// 512 levels.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Error.h"
#include "zqm/base/Value.h"

namespace zqm {

inline constexpr std::string_view kJsonErrorDomain = "JsonException";

// `userInfo` key of the reason: what was wrong, and at which byte of a text.
inline constexpr std::string_view kLocalizedFailureReasonKey = "NSLocalizedFailureReason";

struct JsonReading {
  // Absent if there is an error. JSON's null is a null value.
  Value value;
  std::optional<Error> error;
};

// Parses any top-level value. Integers beyond 64 bits become doubles; the last of equal keys wins.
// Refuses invalid UTF-8, a byte order mark, zero bytes, numbers beyond a double, more than 500,000
// values, and anything but white space after the value.
ZQM_EXPORT JsonReading readJson(std::string_view text);

// Parses an object. Throws for anything else; the exception's details contain the call stack.
ZQM_EXPORT Dictionary readJsonObject(std::string_view text);

struct JsonWriting {
  // Compact, keys in insertion order; empty if there is an error.
  std::string text;
  std::optional<Error> error;
};

// Refuses what JSON cannot represent: absent values, dates, bytes, NaN, infinity, invalid UTF-8.
ZQM_EXPORT JsonWriting writeJson(const Value& value);

}  // namespace zqm
