// Reachability, derived from the kernel's routes and interfaces.
#pragma once

#include <list>
#include <memory>
#include <string>

#include "zqm/base/Mutex.h"
#include "zqm/platform/Network.h"
#include "zqm/platform/posix/Descriptor.h"

namespace zqm {

// Watches all targets on one thread, which runs as long as there is something to watch. Make it
// with std::make_shared: that thread and the tokens of `watch` share it.
class LinuxNetwork : public Network, public std::enable_shared_from_this<LinuxNetwork> {
 public:
  // `root` is prepended to /sys and /run.
  explicit LinuxNetwork(std::string root = {}) : root_(std::move(root)) {}

  bool accepts(const NetworkTarget& target) override;
  // A host name that is a literal address is treated as that address.
  std::optional<std::uint32_t> flags(const NetworkTarget& target) override;
  // Changes in quick succession are reported once.
  std::shared_ptr<void> watch(const NetworkTarget& target,
                              std::function<void(std::uint32_t)> changed) override;

 private:
  struct Watch;

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
