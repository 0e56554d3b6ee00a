// The check of a rule, and frames with right checksums.
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

Bytes withChecksums(Bytes file) {
  constexpr std::size_t kHead = 24;
  const auto sumUp = [&](std::size_t begin, std::size_t length, std::size_t place) {
    const auto sum = static_cast<std::uint32_t>(crc32_z(0, file.data() + begin, length));
    std::memcpy(&file[place], &sum, sizeof sum);
  };
  std::uint32_t size = 0;
  for (std::size_t at = 0; at + kHead <= file.size(); at += kHead + size) {
    std::memcpy(&size, &file[at + 4], sizeof size);
    if (size > file.size() - at - kHead) break;
    std::memcpy(&file[at], &file[0], 4);
    std::memcpy(&file[at + 8], &file[8], 8);
    sumUp(at, 16, at + 16);
    sumUp(at + kHead, size, at + 20);
  }
  return file;
}

}  // namespace zqm::fuzz
