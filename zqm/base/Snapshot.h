// Snapshot: a shared value that readers get whole while writers replace it.
#pragma once

#include <memory>

#include "zqm/base/Mutex.h"

namespace zqm {

template <class T>
class Snapshot {
 public:
  using Pointer = std::shared_ptr<const T>;

  explicit Snapshot(Pointer initial = nullptr) : current_(std::move(initial)) {}

  Pointer load() const {
    const MutexLock lock(mutex_);
    return current_;
  }

  void store(Pointer next) {
    // The old value goes after the lock, since its destruction may take long.
    exchange(std::move(next));
  }

  Pointer exchange(Pointer next) {
    const MutexLock lock(mutex_);
    current_.swap(next);
    return next;
  }

 private:
  mutable Mutex mutex_;
  Pointer current_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
