// Snapshot: a shared value that readers take whole while a writer replaces it.
#pragma once

#include <memory>

#include "zqm/base/Mutex.h"

namespace zqm {

template <class T>
class Snapshot {
 public:
  // What stands now, or null; it stays as it is for as long as the reader keeps it.
  std::shared_ptr<const T> get() const {
    const MutexLock lock(mutex_);
    return value_;
  }

  void set(std::shared_ptr<const T> value) {
    const MutexLock lock(mutex_);
    // The earlier value is destroyed after the lock.
    value_.swap(value);
  }

 private:
  mutable Mutex mutex_;
  std::shared_ptr<const T> value_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
