// Regular expressions, case-insensitive and with a time limit.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zqm {

// Replaces every match by the template, in which "$1" is a group (empty if there is no such group),
// "\$" a dollar sign, and "$" without a digit itself. Returns std::nullopt if the pattern does not
// compile, matching takes too long, or an argument is not valid UTF-8.
std::optional<std::string> replaceAll(std::string_view text, std::string_view pattern,
                                      std::string_view replacementTemplate);

// Returns whether the pattern matches anywhere; false if `replaceAll` would return std::nullopt.
bool containsMatch(std::string_view text, std::string_view pattern);

}  // namespace zqm
