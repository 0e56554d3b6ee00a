// Regular expressions, case-insensitive and bounded in time.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zqm {

// `text` with every match replaced by the template, in which "$1" is a group (empty when there is
// none of that number), "\$" a dollar sign, and a "$" without a digit stands for itself. None when
// the pattern does not compile, takes too long, or an argument is not valid UTF-8.
std::optional<std::string> replaceAll(std::string_view text, std::string_view pattern,
                                      std::string_view replacementTemplate);

// Whether the pattern matches anywhere; false where replaceAll gives none.
bool containsMatch(std::string_view text, std::string_view pattern);

}  // namespace zqm
