// Text predicates that distinguish absent from empty, and UTF-8 functions.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Export.h"
#include "zqm/base/Value.h"

namespace zqm {

// Every predicate, even isNil, returns false for an absent value and for a value that is not a
// string: an absent identifier is neither empty nor not empty.
ZQM_EXPORT bool isEmpty(const Text& self);
ZQM_EXPORT bool isNotEmpty(const Text& self);
ZQM_EXPORT bool isNil(const Text& self);
ZQM_EXPORT bool isNotNil(const Text& self);
// Compares with the four letters "NULL".
ZQM_EXPORT bool isNull(const Text& self);
ZQM_EXPORT bool isNotNull(const Text& self);

// Returns the MD5 digest of the text up to its first zero byte, in upper case, unlike the other
// digests. Returns std::nullopt for a value that is not a string, and while the process exits.
ZQM_EXPORT std::optional<std::string> MD5Hash(const Text& self);

// RFC 3629: no overlong forms, no surrogates, nothing above U+10FFFF. Zero bytes are valid.
ZQM_EXPORT bool isValidUtf8(std::string_view text);

// Returns std::nullopt if the bytes are absent or not valid UTF-8.
ZQM_EXPORT std::optional<std::string> utf8Text(const std::optional<Bytes>& bytes);

// Returns the length of valid UTF-8 in UTF-16 units.
ZQM_EXPORT std::size_t utf16Length(std::string_view text);

}  // namespace zqm
