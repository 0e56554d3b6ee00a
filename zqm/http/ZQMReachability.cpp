// Evaluates flags, and runs the notifier that follows their changes.
#include "zqm/http/ZQMReachability.h"

#include <cstdio>
#include <utility>
#include <vector>

#include "zqm/base/Exception.h"
#include "zqm/log/ZQMLogHandler.h"

namespace zqm {
namespace {

using namespace reachability;

// Stops the notifiers that still run when their Process ends.
class Notifiers {
 public:
  ~Notifiers() {
    for (const auto& weak : started_) {
      if (const auto monitor = weak.lock()) monitor->stopNotifier();
    }
  }

  void add(const ZQMReachability::Pointer& monitor) {
    const MutexLock lock(mutex_);
    std::erase_if(started_, [&](const auto& weak) {
      const auto other = weak.lock();
      return !other || other == monitor;
    });
    started_.push_back(monitor);
  }

 private:
  Mutex mutex_;
  std::vector<std::weak_ptr<ZQMReachability>> started_;
};

const PerProcess<Notifiers> notifiers;

void callHost(const std::function<void()>& call) { guarded(call, reportAs(kCoreModule, 3)); }

ZQMReachability::Pointer monitorOf(NetworkTarget target) {
  if (!platform().network->accepts(target)) return nullptr;
  return ZQMReachability::initWithReachabilityRef(std::move(target));
}

}  // namespace

ZQMReachability::Pointer ZQMReachability::reachabilityWithHostname(const std::string& hostname) {
  return monitorOf(HostName{hostname});
}

ZQMReachability::Pointer ZQMReachability::reachabilityWithHostName(const std::string& hostname) {
  return reachabilityWithHostname(hostname);
}

ZQMReachability::Pointer ZQMReachability::reachabilityWithAddress(const SocketAddress& address) {
  return monitorOf(address);
}

ZQMReachability::Pointer ZQMReachability::reachabilityForInternetConnection() {
  return reachabilityWithAddress(SocketAddress());
}

ZQMReachability::Pointer ZQMReachability::reachabilityForLocalWiFi() {
  return reachabilityWithAddress({.bytes = {169, 254}});
}

ZQMReachability::Pointer ZQMReachability::initWithReachabilityRef(NetworkTarget target) {
  return Pointer(new ZQMReachability(std::move(target)));
}

void ZQMReachability::setReachableBlock(Block block) {
  const MutexLock lock(mutex_);
  blocks_.reachable.swap(block);
}

void ZQMReachability::setUnreachableBlock(Block block) {
  const MutexLock lock(mutex_);
  blocks_.unreachable.swap(block);
}

void ZQMReachability::setReachabilityBlock(FlagsBlock block) {
  const MutexLock lock(mutex_);
  blocks_.reachability.swap(block);
}

ZQMReachability::Pointer ZQMReachability::reachabilityObject() const {
  const MutexLock lock(mutex_);
  return reachabilityObject_;
}

bool ZQMReachability::startNotifier() {
  const Pointer self = shared_from_this();
  {
    const MutexLock lock(mutex_);
    if (reachabilityObject_) return true;
    const std::uint64_t run = ++run_;
    process_ = &Process::current();
    watch_ = platform().network->watch(reachabilityRef_,
                                       [weak = weak_from_this(), run](std::uint32_t flags) {
                                         if (const Pointer monitor = weak.lock())
                                           monitor->deliver(run, flags);
                                       });
    if (!watch_) return false;
    reachabilityObject_ = self;
  }
  notifiers->add(self);
  return true;
}

void ZQMReachability::stopNotifier() {
  // Destroyed after the mutex is released: the last reference to this monitor may be among them.
  Pointer self;
  std::shared_ptr<void> watch;
  const MutexLock lock(mutex_);
  self.swap(reachabilityObject_);
  watch.swap(watch_);
}

void ZQMReachability::deliver(std::uint64_t run, std::uint32_t flags) {
  const MutexLock lock(mutex_);
  if (!reachabilityObject_ || run != run_) return;
  serialQueue_.submit(process_->bind(std::function<void()>(
      [self = shared_from_this(), run, flags] { self->reachabilityChanged(run, flags); })));
}

void ZQMReachability::reachabilityChanged(std::uint64_t run, std::uint32_t flags) {
  Pointer self;
  Blocks blocks;
  {
    const MutexLock lock(mutex_);
    if (!reachabilityObject_ || run != run_) return;
    self = reachabilityObject_;
    blocks = blocks_;
  }
  const Block& outcome = isReachableWithFlags(flags) ? blocks.reachable : blocks.unreachable;
  if (outcome) callHost([&] { outcome(self); });
  if (blocks.reachability) callHost([&] { blocks.reachability(self, flags); });
  platform().mainThread->post(Process::current().bind([self] {
    callHost([&] { platform().mainThread->notify(kReachabilityChangedNotification, self); });
  }));
}

bool ZQMReachability::isReachable() const { return isReachableWithFlags(reachabilityFlags()); }

bool ZQMReachability::isReachableWithFlags(std::uint32_t flags) const {
  constexpr std::uint32_t kPending = kConnectionRequired | kTransientConnection;
  if ((flags & kReachable) == 0 || (flags & kPending) == kPending) return false;
  return (flags & kIsWwan) == 0 || reachableOnWWAN_;
}

bool ZQMReachability::isReachableViaWWAN() const {
  return (reachabilityFlags() & (kReachable | kIsWwan)) == (kReachable | kIsWwan);
}

bool ZQMReachability::isReachableViaWiFi() const {
  return (reachabilityFlags() & (kReachable | kIsWwan)) == kReachable;
}

bool ZQMReachability::connectionRequired() const {
  return (reachabilityFlags() & kConnectionRequired) != 0;
}

bool ZQMReachability::isConnectionRequired() const { return connectionRequired(); }

bool ZQMReachability::isConnectionOnDemand() const {
  const std::uint32_t flags = reachabilityFlags();
  return (flags & kConnectionRequired) != 0 &&
         (flags & (kConnectionOnTraffic | kConnectionOnDemand)) != 0;
}

bool ZQMReachability::isInterventionRequired() const {
  constexpr std::uint32_t kBoth = kConnectionRequired | kInterventionRequired;
  return (reachabilityFlags() & kBoth) == kBoth;
}

NetworkStatus ZQMReachability::currentReachabilityStatus() const {
  const std::uint32_t flags = reachabilityFlags();
  if (!isReachableWithFlags(flags)) return kNotReachable;
  return (flags & kIsWwan) == 0 ? kReachableViaWiFi : kReachableViaWWAN;
}

std::uint32_t ZQMReachability::reachabilityFlags() const {
  return platform().network->flags(reachabilityRef_).value_or(0);
}

std::string ZQMReachability::currentReachabilityString() const {
  // In the order of NetworkStatus.
  constexpr const char* kNames[] = {"No Connection", "Cellular", "WiFi"};
  return platform().packages->localizedString(kNames[currentReachabilityStatus()]);
}

std::string ZQMReachability::currentReachabilityFlags() const {
  constexpr std::pair<std::uint32_t, char> kLetters[] = {
      {kIsWwan, 'W'},
      {kReachable, 'R'},
      {0, ' '},
      {kConnectionRequired, 'c'},
      {kTransientConnection, 't'},
      {kInterventionRequired, 'i'},
      {kConnectionOnTraffic, 'C'},
      {kConnectionOnDemand, 'D'},
      {kIsLocalAddress, 'l'},
      {kIsDirect, 'd'},
  };
  const std::uint32_t flags = reachabilityFlags();
  std::string text;
  for (const auto& [flag, letter] : kLetters) {
    text += flag == 0 || (flags & flag) != 0 ? letter : '-';
  }
  return text;
}

std::string ZQMReachability::description() const {
  // The low 32 bits of the address identify the monitor.
  char text[64];
  std::snprintf(text, sizeof text, "<ZQMReachability: %#x (%s)>",
                static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(this)),
                currentReachabilityFlags().c_str());
  return text;
}

NetworkStatus currentNetwork() {
  // The name is never resolved and nothing is sent to it.
  const auto probe = ZQMReachability::reachabilityWithHostname("example.com");
  return probe ? probe->currentReachabilityStatus() : kNotReachable;
}

}  // namespace zqm
