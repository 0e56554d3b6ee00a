// Forwards to the lookup and the monitor.
#include "zqm/platform/linux/network/LinuxNetwork.h"

#include "zqm/platform/linux/network/NetworkMonitor.h"
#include "zqm/platform/linux/network/Reachability.h"

namespace zqm {

LinuxNetwork::LinuxNetwork(std::string root)
    : root_(std::move(root)), monitor_(std::make_shared<NetworkMonitor>(root_)) {}

bool LinuxNetwork::accepts(const NetworkTarget& target) {
  const auto* host = std::get_if<HostName>(&target);
  return !host || !host->name.empty();
}

std::optional<std::uint32_t> LinuxNetwork::flags(const NetworkTarget& target) {
  return accepts(target) ? reachabilityFlags(target, root_) : std::nullopt;
}

std::shared_ptr<void> LinuxNetwork::watch(const NetworkTarget& target,
                                          std::function<void(std::uint32_t)> changed) {
  return accepts(target) ? monitor_->watch(target, std::move(changed)) : nullptr;
}

}  // namespace zqm
