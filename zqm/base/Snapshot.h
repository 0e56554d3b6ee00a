// Snapshot: an immutable shared value that a writer replaces as a whole.
#pragma once

#include <memory>

#include "zqm/base/Mutex.h"

namespace zqm {

template <class T>
class Snapshot {
 public:
  // Returns the current value, or null. It is immutable and lives as long as the returned pointer.
  std::shared_ptr<const T> get() const {
    const MutexLock lock(mutex_);
    return value_;
  }

  void set(std::shared_ptr<const T> value) {
    const MutexLock lock(mutex_);
    // The previous value is destroyed after the mutex is released.
    value_.swap(value);
  }

 private:
  mutable Mutex mutex_;
  std::shared_ptr<const T> value_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
