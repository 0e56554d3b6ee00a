// Bytes as text: hexadecimal, base64 (RFC 4648) and random UUIDs (RFC 4122).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

std::string toHexLower(const Bytes& bytes);
std::string toHexUpper(const Bytes& bytes);

// Padded, without line breaks.
std::string toBase64(const Bytes& bytes);

// Drops every character outside the alphabet; what is left must be a multiple of four characters
// with correct padding.
std::optional<Bytes> fromBase64(std::string_view text);

// A version 4 UUID in upper case. May be called from any thread and on both sides of a fork.
// Throws an Exception when the kernel refuses random numbers.
std::string makeUuid();

}  // namespace zqm
