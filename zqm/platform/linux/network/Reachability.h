// Whether and how a target is reachable, according to the kernel's current state.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "zqm/platform/Network.h"

namespace zqm {

// Returns the flags of a target, or std::nullopt if a request to the kernel failed. `root` is
// prepended to /sys and /run.
std::optional<std::uint32_t> reachabilityFlags(const NetworkTarget& target,
                                               const std::string& root);

}  // namespace zqm
