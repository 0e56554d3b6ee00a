// What the fuzz targets share. Each target is a source of this folder that defines `tryOne`.
#pragma once

#include "tests/support/FakePlatform.h"

namespace zqm::fuzz {

using testing::Fakes;
using testing::Launch;

// Whether the kept input is one that its reader must refuse, as its name says.
inline bool mustBeRefused = false;

// Hands the input to a reader and checks what must hold of the answer.
void tryOne(const Bytes& input);

// Ends the process, which is how a finding shows, where `holds` is false.
void require(bool holds, const char* rule);

// Equality in which a number that is none equals itself.
bool same(const Value& one, const Value& other);

// What follows the first byte, which picks a way to read it.
inline Bytes withoutFirst(const Bytes& input) {
  return input.empty() ? Bytes() : Bytes(input.begin() + 1, input.end());
}
inline std::size_t firstOf(const Bytes& input) { return input.empty() ? 0 : input.front(); }

// With right checksums, and the first one's magic and id, as far as there are frames. Changed bytes
// would rarely get past them.
Bytes withChecksums(Bytes file);

}  // namespace zqm::fuzz
