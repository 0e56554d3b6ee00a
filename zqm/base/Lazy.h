// Lazy: a value that is made by the first who asks for it.
#pragma once

#include <atomic>
#include <optional>

#include "zqm/base/Mutex.h"

namespace zqm {

// Others wait while it is made; where `make` throws, the next to ask tries again. Unlike
// std::call_once it costs no system call and no look-up of a symbol, which the host's first call
// would pay for.
template <class T>
class Lazy {
 public:
  Lazy() = default;
  Lazy(const Lazy&) = delete;
  Lazy& operator=(const Lazy&) = delete;

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
