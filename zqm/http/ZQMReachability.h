// ZQMReachability: whether a target is reachable, over which kind of link, and changes of that.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "zqm/base/Mutex.h"
#include "zqm/platform/Process.h"
#include "zqm/platform/WorkerPool.h"

namespace zqm {

// Unscoped, because some callers pass it on as a number.
enum NetworkStatus : std::int32_t {
  kNotReachable = 0,
  kReachableViaWWAN = 1,
  kReachableViaWiFi = 2,
};

// Sent after the callbacks of a change, with the monitor as the sender.
inline constexpr const char* kReachabilityChangedNotification = "kReachabilityChangedNotification";

// All functions may be called from any thread, also from callbacks. Queries read the network's
// current state; if it cannot be read, they return false or 0.
class ZQM_EXPORT ZQMReachability : public std::enable_shared_from_this<ZQMReachability> {
 public:
  using Pointer = std::shared_ptr<ZQMReachability>;
  using Block = std::function<void(const Pointer&)>;
  using FlagsBlock = std::function<void(const Pointer&, std::uint32_t flags)>;

  // Return null if the platform refuses the target, which initWithReachabilityRef does not check.
  static Pointer reachabilityWithHostname(const std::string& hostname);
  static Pointer reachabilityWithHostName(const std::string& hostname);
  static Pointer reachabilityWithAddress(const SocketAddress& address);
  static Pointer reachabilityForInternetConnection();
  static Pointer reachabilityForLocalWiFi();
  static Pointer initWithReachabilityRef(NetworkTarget target);

  // Called on a change: the first if the target is then reachable, the second if it is not, the
  // third always. One call at a time, on a thread of the monitor, with the Process that started the
  // notifier.
  void setReachableBlock(Block block);
  void setUnreachableBlock(Block block);
  void setReachabilityBlock(FlagsBlock block);

  // Whether a path that is only cellular is treated as reachable; true by default.
  bool reachableOnWWAN() const { return reachableOnWWAN_; }
  void setReachableOnWWAN(bool counts) { reachableOnWWAN_ = counts; }

  const NetworkTarget& reachabilityRef() const { return reachabilityRef_; }
  // Returns this monitor while the notifier runs, else null. A running notifier keeps its monitor
  // alive until it is stopped or its Process ends.
  Pointer reachabilityObject() const;

  // Returns true also if the notifier is already running.
  bool startNotifier();
  // After this returns no callback begins, except one that a thread was already about to call.
  void stopNotifier();

  bool isReachable() const;
  bool isReachableWithFlags(std::uint32_t flags) const;
  bool isReachableViaWWAN() const;
  bool isReachableViaWiFi() const;
  bool connectionRequired() const;
  bool isConnectionRequired() const;
  bool isConnectionOnDemand() const;
  bool isInterventionRequired() const;
  NetworkStatus currentReachabilityStatus() const;
  std::uint32_t reachabilityFlags() const;

  // The status in the host's language.
  std::string currentReachabilityString() const;
  // Ten characters, "WR ctiCDld", with a dash for each flag that is not set.
  std::string currentReachabilityFlags() const;
  std::string description() const;

 private:
  struct Blocks {
    Block reachable;
    Block unreachable;
    FlagsBlock reachability;
  };
  explicit ZQMReachability(NetworkTarget target) : reachabilityRef_(std::move(target)) {}

  // `run` is the number of the notifier run that saw the change. Ignored once that run has ended.
  void deliver(std::uint64_t run, std::uint32_t flags);
  void reachabilityChanged(std::uint64_t run, std::uint32_t flags);

  const NetworkTarget reachabilityRef_;
  std::atomic<bool> reachableOnWWAN_ = true;

  mutable Mutex mutex_;
  Blocks blocks_ ZQM_GUARDED_BY(mutex_);
  Pointer reachabilityObject_ ZQM_GUARDED_BY(mutex_);
  std::shared_ptr<void> watch_ ZQM_GUARDED_BY(mutex_);
  std::uint64_t run_ ZQM_GUARDED_BY(mutex_) = 0;
  // The Process of the current run. It stops its notifiers before it is destroyed.
  Process* process_ ZQM_GUARDED_BY(mutex_) = nullptr;
  // Delivers the changes in order.
  WorkerPool serialQueue_{"zqm-reachable", 1};
};

// Returns the status of the link to a public host, probed at each call.
ZQM_EXPORT NetworkStatus currentNetwork();

}  // namespace zqm
