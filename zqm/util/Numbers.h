// Numbers as text: parsed in the current locale, formatted for the library's own logs.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

// Parses the whole text as a decimal number of the current locale. Returns a 64-bit integer if it
// is one, else a double; std::nullopt if it is no number.
std::optional<Value> parseDecimal(std::string_view text);

// Formats with at most two fraction digits, no trailing zeros, and a point in every locale; "0" for
// NaN and infinity.
std::string formatSeconds(double seconds);

}  // namespace zqm
