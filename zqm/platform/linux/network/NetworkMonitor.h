// Watches targets on one thread, which runs as long as there is something to watch.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zqm/base/Mutex.h"
#include "zqm/platform/Network.h"
#include "zqm/platform/posix/Descriptor.h"

namespace zqm {

class NetworkMonitor : public std::enable_shared_from_this<NetworkMonitor> {
 public:
  explicit NetworkMonitor(std::string root) : root_(std::move(root)) {}

  // See Network::watch. Changes in quick succession are reported once.
  std::shared_ptr<void> watch(const NetworkTarget& target,
                              std::function<void(std::uint32_t)> changed);

 private:
  struct Watch {
    NetworkTarget target;
    std::function<void(std::uint32_t)> changed;
    std::atomic<bool> isCancelled = false;
    // The flags seen last; std::nullopt before the first look. Guarded by the monitor's mutex.
    std::optional<std::uint32_t> last = std::nullopt;
  };

  bool start() ZQM_REQUIRES(mutex_);
  void run();
  // Returns false if there is nothing left to watch.
  bool waitForChange();
  bool stopIfIdle();
  void look(Watch& watch);
  void remove(const std::shared_ptr<Watch>& watch);

  const std::string root_;
  Mutex mutex_;
  std::list<std::shared_ptr<Watch>> watches_ ZQM_GUARDED_BY(mutex_);
  bool isRunning_ ZQM_GUARDED_BY(mutex_) = false;
  // Replaced only while no thread runs.
  Descriptor changes_;
  Descriptor wakeup_;
};

}  // namespace zqm
