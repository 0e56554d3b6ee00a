// The monitor's thread, and the tokens that end a watch.
#include "zqm/platform/linux/network/NetworkMonitor.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>

#include "zqm/base/Exception.h"
#include "zqm/base/System.h"
#include "zqm/platform/linux/network/Reachability.h"
#include "zqm/platform/linux/network/RouteSocket.h"

namespace zqm {
namespace {

// A new address or route causes several messages in quick succession.
constexpr int kSettlingMilliseconds = 100;

void drainCounter(const Descriptor& counter) {
  std::uint64_t count = 0;
  [[maybe_unused]] const auto size = read(counter.get(), &count, sizeof count);
}

}  // namespace

std::shared_ptr<void> NetworkMonitor::watch(const NetworkTarget& target,
                                            std::function<void(std::uint32_t)> changed) {
  const auto watch = std::make_shared<Watch>();
  watch->target = target;
  watch->changed = std::move(changed);
  {
    const MutexLock lock(mutex_);
    if (!isRunning_ && !start()) return nullptr;
    watches_.push_back(watch);
  }
  // After the subscription, so that no change is missed in between.
  const auto now = reachabilityFlags(target, root_);
  {
    const MutexLock lock(mutex_);
    if (!watch->last) watch->last = now;
  }
  return {watch.get(), [self = shared_from_this(), watch](void*) { self->remove(watch); }};
}

bool NetworkMonitor::start() {
  changes_ = openRouteMonitor();
  wakeup_ = Descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  isRunning_ = changes_ && wakeup_ &&
               startThread("zqm-network", [self = shared_from_this()] { self->run(); });
  return isRunning_;
}

void NetworkMonitor::remove(const std::shared_ptr<Watch>& watch) {
  watch->isCancelled = true;
  const MutexLock lock(mutex_);
  watches_.remove(watch);
  const std::uint64_t one = 1;
  if (watches_.empty()) {
    [[maybe_unused]] const auto size = write(wakeup_.get(), &one, sizeof one);
  }
}

bool NetworkMonitor::stopIfIdle() {
  const MutexLock lock(mutex_);
  if (!watches_.empty()) return false;
  isRunning_ = false;
  return true;
}

bool NetworkMonitor::waitForChange() {
  for (;;) {
    std::array<pollfd, 2> events{{{wakeup_.get(), POLLIN, 0}, {changes_.get(), POLLIN, 0}}};
    if (retryInterrupted([&] { return poll(events.data(), events.size(), -1); }) < 0) continue;
    const bool hasChanged = events[1].revents != 0;
    if (hasChanged) {
      poll(events.data(), 1, kSettlingMilliseconds);
      drainRouteMonitor(changes_);
    }
    if (events[0].revents != 0) {
      drainCounter(wakeup_);
      if (stopIfIdle()) return false;
    }
    if (hasChanged) return true;
  }
}

void NetworkMonitor::run() {
  while (waitForChange()) {
    std::list<std::shared_ptr<Watch>> watches;
    {
      const MutexLock lock(mutex_);
      watches = watches_;
    }
    for (const auto& watch : watches) look(*watch);
  }
}

void NetworkMonitor::look(Watch& watch) {
  const auto now = reachabilityFlags(watch.target, root_);
  {
    const MutexLock lock(mutex_);
    const auto before = std::exchange(watch.last, now ? now : watch.last);
    if (!now || !before || *before == *now) return;
  }
  if (watch.isCancelled) return;
  guarded([&] { watch.changed(*now); });
}

}  // namespace zqm
