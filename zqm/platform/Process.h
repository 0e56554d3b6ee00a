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
  // Makes its platform on the first thread that needs it, which at a start is not the host's.
  explicit Process(std::function<Platform()> makePlatform);
  // Waits for the work under way, then destroys the shared instances, last made first.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // The calling thread's: the one that started it or that a Scope put there, otherwise the
  // default one, which is made on first use and never destroyed.
  static Process& current();

  // Replaces the platform that the default Process will make. False, without effect, when there is
  // a default Process already.
  static bool setDefaultPlatform(std::function<Platform()> makePlatform);

  const Platform& platform() const;

  // Makes a Process the calling thread's for a scope.
  class ZQM_EXPORT Scope {
   public:
    explicit Scope(Process& process);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    Process* before_;
  };

  // Wraps a callable that another thread will call: it runs with this Process as its current one,
  // and counts as work under way until the wrapper is gone.
  template <class Callable>
  auto bind(Callable callable);

  // Blocks until no work is under way.
  void drain();

  // A number for `instance`, from 1 on; no two are the same.
  static std::size_t newSlot();

  // The instance that belongs to a slot, made by `make` on first use. Instances may use each other
  // while they are made, but not in a circle.
  void* instance(std::size_t slot, const std::function<std::shared_ptr<void>()>& make);

  // The same, or null where it has not been made or the slot's number is a large one.
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
  // Spares most look-ups the lock.
  std::array<std::atomic<void*>, 64> made_{};
};

// One T in each Process, made on first use. Declare it at namespace or class scope.
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
  // The token is destroyed last, after what the callable holds.
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

// The platform of the current Process.
inline const Platform& platform() { return Process::current().platform(); }

}  // namespace zqm
