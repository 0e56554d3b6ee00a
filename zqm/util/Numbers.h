// Numbers as text: read as the current locale writes them, written for the library's own logs.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

// The number that the whole text is, in the decimal style of the platform's current locale: an
// integer where it is one of 64 bits, otherwise a double. None for anything else.
std::optional<Value> parseDecimal(std::string_view text);

// At most two fraction digits and no trailing zeros, with a point in every locale; "0" for what is
// not finite.
std::string formatSeconds(double seconds);

}  // namespace zqm
