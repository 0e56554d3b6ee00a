// A clock that runs ahead and a network of a chosen kind, so that hours and cellular links can be
// shown in seconds. Also an example of a host that replaces services of the platform.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

namespace example {

struct Pretence {
  std::chrono::hours ahead{0};
  // A flag word of zqm/platform/Network.h; the real network where there is none.
  std::optional<std::uint32_t> network;
};

// The flag word for "wifi", "cellular" or "none"; none for another word.
std::optional<std::uint32_t> networkNamed(std::string_view name);

// Only before the first call to the library.
void pretend(const Pretence& pretence);

}  // namespace example
