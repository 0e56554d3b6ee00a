// Values to and from CBOR (RFC 8949), the form in which the library's own files hold them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

// Each appends to `out`; a list or dictionary is followed by so many elements or pairs.
void putCborNumber(std::string& out, std::uint64_t number);
void putCborText(std::string& out, std::string_view text);
void putCborList(std::string& out, std::size_t count);
void putCborDictionary(std::string& out, std::size_t count);

// Any value, texts that are not UTF-8 included. A date is a tag 1 with whole or broken seconds,
// exact to the millisecond for 142,000 years from 1970. Left out are absent values inside a list
// and what stands deeper than a reader accepts. An absent value is written as null.
void putCbor(std::string& out, const Value& value);

// What a reader takes. Each key counts as a value.
inline constexpr std::size_t kMostCborLevels = 512;
inline constexpr std::size_t kMostCborValues = 500'000;

// None for what is not one complete value, and for more levels or values, a length that is not told
// ahead, `undefined`, a tag other than 1, a key that is no text, and a number below the range of 64
// bits with a sign. Takes memory and time in proportion to the bytes.
std::optional<Value> readCbor(std::string_view bytes);

// The same for the first value of a sequence (RFC 8742), which is taken off `bytes`; after none it
// must not be read on.
std::optional<Value> takeCbor(std::string_view& bytes);

}  // namespace zqm
