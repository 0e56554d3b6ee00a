// Process: the one global. It owns the platform and every shared instance, flag and counter.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "zqm/base/Mutex.h"
#include "zqm/platform/Platform.h"

namespace zqm {

class ZQM_EXPORT Process {
 public:
  explicit Process(Platform platform);
  // Waits for the work under way, then destroys the shared instances, last made first.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // The calling thread's: the one that started it or that a Scope put there, otherwise the
  // default one, which is made on first use and never destroyed.
  static Process& current();

  // Replaces what the default Process will be made with. False, without effect, when there is a
  // default Process already.
  static bool setDefaultPlatform(Platform platform);

  const Platform& platform() const { return platform_; }

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

  // Wraps a function that another thread will call: it runs with this Process as its current one,
  // and counts as work under way until the wrapper is gone.
  template <class... Args>
  std::function<void(Args...)> bind(std::function<void(Args...)> function);

  // Blocks until no work is under way.
  void drain();

  // The instance that belongs to `slot`, made by `make` on first use. Instances may use each
  // other while they are made, but not in a circle.
  void* instance(const void* slot, const std::function<std::shared_ptr<void>()>& make);

 private:
  struct Slot {
    std::once_flag once;
    std::shared_ptr<void> value;
  };

  std::shared_ptr<void> beginWork();
  Slot& slotFor(const void* key);

  const Platform platform_;
  Mutex mutex_;
  Condition idle_;
  std::size_t work_ ZQM_GUARDED_BY(mutex_) = 0;
  std::unordered_map<const void*, std::unique_ptr<Slot>> slots_ ZQM_GUARDED_BY(mutex_);
  std::vector<std::shared_ptr<void>> made_ ZQM_GUARDED_BY(mutex_);
};

// One T in each Process, made on first use. Declare it at namespace or class scope.
template <class T>
class PerProcess {
 public:
  constexpr PerProcess() = default;
  PerProcess(const PerProcess&) = delete;
  PerProcess& operator=(const PerProcess&) = delete;

  T& get() const {
    return *static_cast<T*>(
        Process::current().instance(this, [] { return std::make_shared<T>(); }));
  }
  T& operator*() const { return get(); }
  T* operator->() const { return &get(); }

 private:
  // Keeps two of these from sharing an address.
  char identity_ = 0;
};

template <class... Args>
std::function<void(Args...)> Process::bind(std::function<void(Args...)> function) {
  if (!function) return {};
  // The token is destroyed last, after what the function holds.
  struct Bound {
    std::shared_ptr<void> token;
    std::function<void(Args...)> function;
  };
  auto bound = std::make_shared<Bound>(Bound{beginWork(), std::move(function)});
  return [this, bound = std::move(bound)](Args... args) {
    const Scope scope(*this);
    bound->function(std::forward<Args>(args)...);
  };
}

// The platform of the current Process.
inline const Platform& platform() { return Process::current().platform(); }

}  // namespace zqm
