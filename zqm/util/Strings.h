// Text predicates that know absent from empty, and what the library needs to know of UTF-8.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Export.h"
#include "zqm/base/Value.h"

namespace zqm {

// Each predicate is false for an absent text (isNil included) and for a value that is no text: an
// absent identifier is neither empty nor not empty.
ZQM_EXPORT bool isEmpty(const Text& self);
ZQM_EXPORT bool isNotEmpty(const Text& self);
ZQM_EXPORT bool isNil(const Text& self);
ZQM_EXPORT bool isNotNil(const Text& self);
// Exactly the four letters "NULL".
ZQM_EXPORT bool isNull(const Text& self);
ZQM_EXPORT bool isNotNull(const Text& self);

// The MD5 digest of the text up to its first zero byte, in upper case on purpose: the library's
// other digests are in lower case. None for what is no text, and while the process exits.
ZQM_EXPORT std::optional<std::string> MD5Hash(const Text& self);

// RFC 3629: no overlong form, no surrogate, nothing past U+10FFFF. A zero byte is a character.
ZQM_EXPORT bool isValidUtf8(std::string_view text);

// None when the bytes are not valid UTF-8.
ZQM_EXPORT std::optional<std::string> utf8Text(const Bytes& bytes);

// The length of valid UTF-8 in UTF-16 units.
ZQM_EXPORT std::size_t utf16Length(std::string_view text);

}  // namespace zqm
