// Lazy: a value that is created on first use.
#pragma once

#include <atomic>
#include <optional>

#include "zqm/base/Mutex.h"

namespace zqm {

// Concurrent callers wait until the value exists. If `make` throws, the next caller tries again.
// Used instead of std::call_once because the first use of that costs a system call and a symbol
// lookup on the host's thread.
template <class T>
class Lazy {
 public:
  template <class Make>
  T& get(const Make& make) {
    if (T* made = made_.load(std::memory_order_acquire)) return *made;
    const MutexLock lock(mutex_);
    if (!value_) {
      value_.emplace(make());
      made_.store(&*value_, std::memory_order_release);
    }
    return *value_;
  }

 private:
  std::atomic<T*> made_ = nullptr;
  Mutex mutex_;
  std::optional<T> value_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
