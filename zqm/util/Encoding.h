// Bytes as text: hexadecimal, base64 (RFC 4648) and random UUIDs (RFC 4122).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

ZQM_EXPORT std::string toHexLower(const Bytes& bytes);
ZQM_EXPORT std::string toHexUpper(const Bytes& bytes);

// Padded, without line breaks.
ZQM_EXPORT std::string toBase64(const Bytes& bytes);

// Ignores characters outside the alphabet. Returns std::nullopt unless the rest is a multiple of
// four characters with correct padding.
ZQM_EXPORT std::optional<Bytes> fromBase64(std::string_view text);

// Returns a random (version 4) UUID in upper case. Thread-safe, and safe on both sides of a fork.
// Throws an Exception if the kernel provides no random numbers.
ZQM_EXPORT std::string makeUuid();

}  // namespace zqm
