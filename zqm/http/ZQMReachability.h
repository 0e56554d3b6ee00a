// ZQMReachability: whether a target can be reached now, over which kind of link, and its changes.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "zqm/base/Mutex.h"
#include "zqm/base/WorkerPool.h"
#include "zqm/platform/Process.h"

namespace zqm {

// A number to whoever only passes it on.
enum NetworkStatus : std::int32_t {
  kNotReachable = 0,
  kReachableViaWWAN = 1,
  kReachableViaWiFi = 2,
};

// The notification that follows the callbacks of a change, with the monitor as its object.
inline constexpr const char* kReachabilityChangedNotification = "kReachabilityChangedNotification";

// Every operation may be called from any thread, callbacks included. A query reads the network's
// state anew; where that cannot be read, the answer is false or 0.
class ZQM_EXPORT ZQMReachability : public std::enable_shared_from_this<ZQMReachability> {
 public:
  using Pointer = std::shared_ptr<ZQMReachability>;
  using Block = std::function<void(const Pointer&)>;
  using FlagsBlock = std::function<void(const Pointer&, std::uint32_t flags)>;

  // None when the platform refuses the target.
  static Pointer reachabilityWithHostname(const std::string& hostname);
  static Pointer reachabilityWithHostName(const std::string& hostname);
  static Pointer reachabilityWithAddress(const SocketAddress& address);
  static Pointer reachabilityForInternetConnection();
  static Pointer reachabilityForLocalWiFi();
  static Pointer initWithReachabilityRef(NetworkTarget target);

  // Called on a change: the first when the target is reachable then, the second when it is not,
  // the third always. One call at a time, on a thread of the network service, with the Process
  // of the one who started the notifier.
  void setReachableBlock(Block block);
  void setUnreachableBlock(Block block);
  void setReachabilityBlock(FlagsBlock block);

  // Whether a path that is only cellular counts as reachable; true at first.
  bool reachableOnWWAN() const { return reachableOnWWAN_; }
  void setReachableOnWWAN(bool counts) { reachableOnWWAN_ = counts; }

  const NetworkTarget& reachabilityRef() const { return reachabilityRef_; }
  // This monitor while the notifier runs, which keeps it alive until it is stopped or its Process
  // ends; otherwise none.
  Pointer reachabilityObject() const;

  // True when the notifier runs already, too.
  bool startNotifier();
  // No call begins after this one has returned, unless one was just beginning.
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
  // Ten characters: "WR ctiCDld", with a dash for each flag that is not set.
  std::string currentReachabilityFlags() const;
  std::string description() const;

 private:
  struct Blocks {
    Block reachable;
    Block unreachable;
    FlagsBlock reachability;
  };
  explicit ZQMReachability(NetworkTarget target) : reachabilityRef_(std::move(target)) {}

  // `run` is that of the notifier which saw the change.
  void deliver(std::uint64_t run, std::uint32_t flags);
  bool isRunning(std::uint64_t run) const;
  void reachabilityChanged(std::uint32_t flags);

  const NetworkTarget reachabilityRef_;
  std::atomic<bool> reachableOnWWAN_ = true;

  mutable Mutex mutex_;
  Blocks blocks_ ZQM_GUARDED_BY(mutex_);
  Pointer reachabilityObject_ ZQM_GUARDED_BY(mutex_);
  std::shared_ptr<void> watch_ ZQM_GUARDED_BY(mutex_);
  std::uint64_t run_ ZQM_GUARDED_BY(mutex_) = 0;
  // Of the run under way; it stops its notifiers before it goes.
  Process* process_ ZQM_GUARDED_BY(mutex_) = nullptr;
  // The serial queue on which changes are delivered.
  WorkerPool serialQueue_{"zqm-reachable", 1};
};

}  // namespace zqm
