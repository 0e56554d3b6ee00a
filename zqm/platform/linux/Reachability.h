// Whether and how a target can be reached, from the kernel's present state.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "zqm/platform/Network.h"

namespace zqm {

// The flag word of a target; none when the kernel does not answer. `root` stands in front of /sys
// and /run.
std::optional<std::uint32_t> reachabilityFlags(const NetworkTarget& target,
                                               const std::string& root);

}  // namespace zqm
