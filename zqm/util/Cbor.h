// Values to and from CBOR (RFC 8949), the format of the library's own files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

// Each appends to `out`; the `count` elements or pairs of a list or dictionary must follow.
void putCborNumber(std::string& out, std::uint64_t number);
void putCborText(std::string& out, std::string_view text);
void putCborList(std::string& out, std::size_t count);
void putCborDictionary(std::string& out, std::size_t count);

// Appends any value, even text that is not UTF-8. A date is a tag 1 with whole or fractional
// seconds, exact to the millisecond within 142,000 years of 1970. Omits absent values in a list and
// containers deeper than a reader accepts; an absent value by itself is written as null.
void putCbor(std::string& out, const Value& value);

// The limits of a reader. Each key counts as a value.
inline constexpr std::size_t kMostCborLevels = 512;
inline constexpr std::size_t kMostCborValues = 500'000;

// Returns std::nullopt unless `bytes` is exactly one value. Not accepted are more levels or values,
// indefinite lengths, `undefined`, tags other than 1, keys that are not text, and numbers below
// INT64_MIN. Memory and time are proportional to the number of bytes.
std::optional<Value> readCbor(std::string_view bytes);

// Like `readCbor`, but for the first value of a sequence (RFC 8742), which is removed from `bytes`.
// After std::nullopt, the rest must not be read.
std::optional<Value> takeCbor(std::string_view& bytes);

}  // namespace zqm
