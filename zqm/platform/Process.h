// Process: the one global. It owns the platform and every shared instance, flag and counter.
#pragma once

#include <array>
#include <atomic>
#include <concepts>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "zqm/base/Lazy.h"
#include "zqm/base/Mutex.h"
#include "zqm/platform/Platform.h"

namespace zqm {

class ZQM_EXPORT Process {
 public:
  explicit Process(Platform platform);
  // The platform is created on first use, which during a start is on a thread of the library.
  explicit Process(std::function<Platform()> makePlatform);
  // Waits like `drain`, then destroys the shared instances in reverse order of their creation.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // Returns the Process of the calling thread: the one set by the innermost Scope, else the default
  // Process, which is created on first use and never destroyed.
  static Process& current();

  // Sets the factory of the default Process's platform. Returns false, without effect, if the
  // default Process already exists.
  static bool setDefaultPlatform(std::function<Platform()> makePlatform);

  const Platform& platform() const;

  // Makes `process` the calling thread's Process during the scope.
  class ZQM_EXPORT Scope {
   public:
    explicit Scope(Process& process);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    Process* before_;
  };

  // Wraps a function for a call on another thread. During the call this Process is the current one,
  // and `drain` waits until the wrapper has been destroyed. Example:
  // `pool.submit(Process::current().bind(task))`.
  template <class Callable>
  auto bind(Callable callable);

  // Blocks until all wrappers made by `bind` have been destroyed.
  void drain();

  // Returns an unused slot number for `instance`, starting at 1.
  static std::size_t newSlot();

  // Returns the instance of a slot, created by `make` on first use. Instances may use each other
  // during their creation, but not in a cycle.
  void* instance(std::size_t slot, const std::function<std::shared_ptr<void>()>& make);

  // Lock-free fast path of `instance`: null if it does not exist yet, or for slots from 64 on.
  void* madeInstance(std::size_t slot) const {
    return slot < made_.size() ? made_[slot].load(std::memory_order_acquire) : nullptr;
  }

 private:
  using Slot = Lazy<std::shared_ptr<void>>;

  std::shared_ptr<void> beginWork();
  Slot& slotFor(std::size_t number);

  const std::function<Platform()> makePlatform_;
  mutable Lazy<Platform> platform_;
  Mutex mutex_;
  Condition idle_;
  std::size_t work_ ZQM_GUARDED_BY(mutex_) = 0;
  std::map<std::size_t, Slot> slots_ ZQM_GUARDED_BY(mutex_);
  std::vector<std::shared_ptr<void>> inOrder_ ZQM_GUARDED_BY(mutex_);
  // Spares most lookups the lock.
  std::array<std::atomic<void*>, 64> made_{};
};

// One T for each Process, created on first use. Declare it at namespace or class scope.
template <class T>
class PerProcess {
 public:
  constexpr PerProcess() = default;
  PerProcess(const PerProcess&) = delete;
  PerProcess& operator=(const PerProcess&) = delete;

  T& get() const {
    Process& process = Process::current();
    const std::size_t number = slot();
    void* const made = process.madeInstance(number);
    return *static_cast<T*>(made ? made
                                 : process.instance(number, [] { return std::make_shared<T>(); }));
  }
  T& operator*() const { return get(); }
  T* operator->() const { return &get(); }

 private:
  std::size_t slot() const {
    std::size_t number = slot_.load(std::memory_order_relaxed);
    if (number != 0) return number;
    const std::size_t given = Process::newSlot();
    return slot_.compare_exchange_strong(number, given) ? given : number;
  }

  mutable std::atomic<std::size_t> slot_ = 0;
};

template <class Callable>
auto Process::bind(Callable callable) {
  // The token is destroyed last, after the callable and its captures.
  struct Bound {
    std::shared_ptr<void> token;
    Callable callable;
  };
  return [ this, bound = std::make_shared<Bound>(Bound{beginWork(), std::move(callable)}) ](
      auto&&... args) requires std::invocable<Callable&, decltype(args)...> {
    const Scope scope(*this);
    bound->callable(std::forward<decltype(args)>(args)...);
  };
}

// Returns the platform of the current Process.
inline const Platform& platform() { return Process::current().platform(); }

}  // namespace zqm
