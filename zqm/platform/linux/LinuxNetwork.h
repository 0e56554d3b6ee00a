// Reachability from the kernel's routing and interface state.
#pragma once

#include <memory>
#include <string>

#include "zqm/platform/Network.h"

namespace zqm {

class NetworkMonitor;

class LinuxNetwork : public Network {
 public:
  // `root` stands in front of /sys and /run.
  explicit LinuxNetwork(std::string root = {});

  bool accepts(const NetworkTarget& target) override;
  // A literal address as a host name counts as that address.
  std::optional<std::uint32_t> flags(const NetworkTarget& target) override;
  std::shared_ptr<void> watch(const NetworkTarget& target,
                              std::function<void(std::uint32_t)> changed) override;

 private:
  const std::string root_;
  // Shared with its thread and the tokens.
  const std::shared_ptr<NetworkMonitor> monitor_;
};

}  // namespace zqm
