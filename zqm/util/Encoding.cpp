// Hexadecimal, base64 and UUIDs.
#include "zqm/util/Encoding.h"

#include <algorithm>
#include <array>
#include <span>

#include "zqm/base/Exception.h"
#include "zqm/base/System.h"

namespace zqm {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The six bits of each character, or 64 for a character outside the alphabet.
constexpr std::array<std::uint8_t, 256> kSextets = [] {
  std::array<std::uint8_t, 256> sextets{};
  sextets.fill(64);
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    sextets[static_cast<std::uint8_t>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
  }
  return sextets;
}();

std::string toHex(std::span<const std::uint8_t> bytes, const char* digits) {
  std::string text(bytes.size() * 2, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    text[2 * i] = digits[bytes[i] >> 4];
    text[2 * i + 1] = digits[bytes[i] & 0xF];
  }
  return text;
}

constexpr char kUpperDigits[] = "0123456789ABCDEF";

using Uuid = std::array<std::uint8_t, 16>;

// Random numbers of one thread, fetched for 16 UUIDs at once: with a system call for each, an
// enqueue takes a tenth longer.
struct Reserve {
  std::array<Uuid, 16> uuids;
  std::size_t left;
  // A reserve from before a fork is the parent's too.
  std::uint64_t forks;
};

Uuid randomUuid() {
  static thread_local Reserve reserve{};
  const std::uint64_t forks = forkCount();
  if (reserve.left == 0 || reserve.forks != forks) {
    if (!fillWithRandom(reserve.uuids.data(), sizeof reserve.uuids)) {
      throw Exception(kInternalInconsistencyException, "The system gives no random numbers.");
    }
    reserve.left = reserve.uuids.size();
    reserve.forks = forks;
  }
  return reserve.uuids[--reserve.left];
}

}  // namespace

std::string toHexLower(const Bytes& bytes) { return toHex(bytes, "0123456789abcdef"); }

std::string toHexUpper(const Bytes& bytes) { return toHex(bytes, kUpperDigits); }

std::string toBase64(const Bytes& bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 3; ++j) group = group << 8 | (j < count ? bytes[i + j] : 0U);
    for (std::size_t j = 0; j < 4; ++j) {
      text += j <= count ? kAlphabet[group >> (18 - 6 * j) & 0x3F] : '=';
    }
  }
  return text;
}

std::optional<Bytes> fromBase64(std::string_view text) {
  Bytes bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t group = 0;
  std::size_t characters = 0;
  std::size_t padding = 0;
  for (const char c : text) {
    const std::uint8_t sextet = kSextets[static_cast<std::uint8_t>(c)];
    if (sextet == 64 && c != '=') continue;
    if (c == '=') {
      ++padding;
    } else if (padding > 0) {
      return std::nullopt;
    }
    group = group << 6 | (sextet & 0x3FU);
    if (++characters % 4 != 0) continue;
    for (const int shift : {16, 8, 0}) bytes.push_back(static_cast<std::uint8_t>(group >> shift));
  }
  if (characters % 4 != 0 || padding > 2) return std::nullopt;
  bytes.resize(bytes.size() - padding);
  return bytes;
}

std::string makeUuid() {
  Uuid uuid = randomUuid();
  uuid[6] = static_cast<std::uint8_t>((uuid[6] & 0x0F) | 0x40);
  uuid[8] = static_cast<std::uint8_t>((uuid[8] & 0x3F) | 0x80);
  std::string text = toHex(uuid, kUpperDigits);
  for (const std::size_t position : {8, 13, 18, 23}) text.insert(position, 1, '-');
  return text;
}

}  // namespace zqm
