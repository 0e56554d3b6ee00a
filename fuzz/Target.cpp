// The check of a rule, and logs with right checksums.
#include "fuzz/Target.h"

#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zqm::fuzz {

void require(bool holds, const char* rule) {
  if (holds) return;
  std::fprintf(stderr, "This does not hold: %s.\n", rule);
  std::abort();
}

bool same(const Value& one, const Value& other) {
  return one == other || one.textForm() == other.textForm();
}

Bytes withChecksums(Bytes log) {
  constexpr std::size_t kOpening = 20;
  constexpr std::size_t kHead = 12;
  const auto sumUp = [&](std::size_t begin, std::uint64_t length, std::size_t place) {
    auto sum = crc32_z(0, &log[8], 8);
    sum = crc32_z(sum, reinterpret_cast<const std::uint8_t*>(&length), sizeof length);
    const auto whole = static_cast<std::uint32_t>(crc32_z(sum, log.data() + begin, length));
    std::memcpy(&log[place], &whole, sizeof whole);
  };
  if (log.size() < kOpening) return log;
  sumUp(0, 16, 16);
  std::uint32_t size = 0;
  for (std::size_t at = kOpening; at + kHead <= log.size(); at += kHead + size) {
    std::memcpy(&size, &log[at], sizeof size);
    if (size > log.size() - at - kHead) break;
    sumUp(at + kHead, size, at + 4);
    sumUp(at, 8, at + 8);
  }
  return log;
}

}  // namespace zqm::fuzz
