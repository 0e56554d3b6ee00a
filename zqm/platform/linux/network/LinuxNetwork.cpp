// The thread that watches, and the tokens that end a watch.
#include "zqm/platform/linux/network/LinuxNetwork.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <array>
#include <atomic>

#include "zqm/base/Exception.h"
#include "zqm/base/System.h"
#include "zqm/platform/linux/network/RouteSocket.h"

namespace zqm {
namespace {

// A new address or route causes several messages in quick succession.
constexpr int kSettlingMilliseconds = 100;

}  // namespace

struct LinuxNetwork::Watch {
  NetworkTarget target;
  std::function<void(std::uint32_t)> changed;
  std::atomic<bool> isCancelled = false;
  // The flags seen last; std::nullopt before the first look. Guarded by the network's mutex.
  std::optional<std::uint32_t> last = std::nullopt;
};

bool LinuxNetwork::accepts(const NetworkTarget& target) {
  const auto* host = std::get_if<HostName>(&target);
  return !host || !host->name.empty();
}

std::shared_ptr<void> LinuxNetwork::watch(const NetworkTarget& target,
                                          std::function<void(std::uint32_t)> changed) {
  if (!accepts(target)) return nullptr;
  const auto watch = std::make_shared<Watch>();
  watch->target = target;
  watch->changed = std::move(changed);
  {
    const MutexLock lock(mutex_);
    if (!isRunning_ && !start()) return nullptr;
    watches_.push_back(watch);
  }
  // After the subscription, so that no change is missed in between.
  const auto now = flags(target);
  {
    const MutexLock lock(mutex_);
    if (!watch->last) watch->last = now;
  }
  return {watch.get(), [self = shared_from_this(), watch](void*) { self->remove(watch); }};
}

bool LinuxNetwork::start() {
  changes_ = openRouteMonitor();
  wakeup_ = Descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  isRunning_ = changes_ && wakeup_ &&
               startThread("zqm-network", [self = shared_from_this()] { self->run(); });
  return isRunning_;
}

void LinuxNetwork::remove(const std::shared_ptr<Watch>& watch) {
  watch->isCancelled = true;
  const MutexLock lock(mutex_);
  watches_.remove(watch);
  if (watches_.empty()) eventfd_write(wakeup_.get(), 1);
}

bool LinuxNetwork::stopIfIdle() {
  const MutexLock lock(mutex_);
  if (!watches_.empty()) return false;
  isRunning_ = false;
  return true;
}

bool LinuxNetwork::waitForChange() {
  for (;;) {
    std::array<pollfd, 2> events{{{wakeup_.get(), POLLIN, 0}, {changes_.get(), POLLIN, 0}}};
    if (retryInterrupted([&] { return poll(events.data(), events.size(), -1); }) < 0) continue;
    const bool hasChanged = events[1].revents != 0;
    if (hasChanged) {
      poll(events.data(), 1, kSettlingMilliseconds);
      drainRouteMonitor(changes_);
    }
    if (events[0].revents != 0) {
      eventfd_t count = 0;
      eventfd_read(wakeup_.get(), &count);
      if (stopIfIdle()) return false;
    }
    if (hasChanged) return true;
  }
}

void LinuxNetwork::run() {
  while (waitForChange()) {
    std::list<std::shared_ptr<Watch>> watches;
    {
      const MutexLock lock(mutex_);
      watches = watches_;
    }
    for (const auto& watch : watches) look(*watch);
  }
}

void LinuxNetwork::look(Watch& watch) {
  const auto now = flags(watch.target);
  {
    const MutexLock lock(mutex_);
    const auto before = std::exchange(watch.last, now ? now : watch.last);
    if (!now || !before || *before == *now) return;
  }
  if (watch.isCancelled) return;
  guarded([&] { watch.changed(*now); });
}

}  // namespace zqm
