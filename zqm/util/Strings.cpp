// Text predicates and UTF-8.
#include "zqm/util/Strings.h"

#include <unicode/utf8.h>

#include "zqm/crypto/openssl/OpenSsl.h"
#include "zqm/util/Encoding.h"

namespace zqm {

bool isEmpty(const Text& self) { return self.text() && self.text()->empty(); }
bool isNotEmpty(const Text& self) { return self.text() && !self.text()->empty(); }
// Like the other predicates, false for an absent text; so it is never true.
bool isNil(const Text&) { return false; }
bool isNotNil(const Text& self) { return self.text() != nullptr; }
bool isNull(const Text& self) { return self.text() && *self.text() == "NULL"; }
bool isNotNull(const Text& self) { return self.text() && *self.text() != "NULL"; }

std::optional<std::string> MD5Hash(const Text& self) {
  if (!self.text()) return std::nullopt;
  const std::string_view text = *self.text();
  // The text is treated as zero-terminated.
  const Bytes hash = digest("MD5", text.substr(0, text.find('\0')));
  return hash.empty() ? std::nullopt : std::optional(toHexUpper(hash));
}

bool isValidUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    UChar32 character = 0;
    U8_NEXT(text.data(), i, text.size(), character);
    if (character < 0) return false;
  }
  return true;
}

std::optional<std::string> utf8Text(const std::optional<Bytes>& bytes) {
  if (!bytes || !isValidUtf8(asText(*bytes))) return std::nullopt;
  return std::string(asText(*bytes));
}

std::size_t utf16Length(std::string_view text) {
  std::size_t units = 0;
  for (const char c : text) {
    if (!U8_IS_TRAIL(c)) ++units;
    // A sequence of four bytes is a surrogate pair.
    if (static_cast<std::uint8_t>(c) >= 0xF0) ++units;
  }
  return units;
}

}  // namespace zqm
