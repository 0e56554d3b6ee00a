// JSON (RFC 8259) to and from Value. Neither direction throws; both refuse more than 512 levels.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Error.h"
#include "zqm/base/Value.h"

namespace zqm {

inline constexpr std::string_view kJsonErrorDomain = "JsonException";

// The key of a JSON error's details under which stands what was wrong, and where.
inline constexpr std::string_view kLocalizedFailureReasonKey = "NSLocalizedFailureReason";

struct JsonReading {
  // Absent together with an error; JSON's null is a null value.
  Value value;
  std::optional<Error> error;
};

// Any top-level value. Integers beyond 64 bits become doubles; of equal keys the last one wins.
// Refuses invalid UTF-8, a byte order mark, a zero byte, a number beyond a double, and anything
// but blanks behind the value.
ZQM_EXPORT JsonReading readJson(std::string_view text);

struct JsonWriting {
  // Compact, keys in order of insertion; empty together with an error.
  std::string text;
  std::optional<Error> error;
};

// Refuses what JSON cannot hold: absent values, dates, bytes, NaN, infinity, invalid UTF-8.
ZQM_EXPORT JsonWriting writeJson(const Value& value);

}  // namespace zqm
