// Reachability, derived from the kernel's routes and interfaces.
#pragma once

#include <memory>
#include <string>

#include "zqm/platform/Network.h"

namespace zqm {

class NetworkMonitor;

class LinuxNetwork : public Network {
 public:
  // `root` is prepended to /sys and /run.
  explicit LinuxNetwork(std::string root = {});

  bool accepts(const NetworkTarget& target) override;
  // A host name that is a literal address is treated as that address.
  std::optional<std::uint32_t> flags(const NetworkTarget& target) override;
  std::shared_ptr<void> watch(const NetworkTarget& target,
                              std::function<void(std::uint32_t)> changed) override;

 private:
  const std::string root_;
  // Shared with its thread and the tokens of `watch`.
  const std::shared_ptr<NetworkMonitor> monitor_;
};

}  // namespace zqm
