// Mutexes that clang's thread-safety analysis can check.
#pragma once

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define ZQM_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ZQM_THREAD_ANNOTATION(x)
#endif

#define ZQM_GUARDED_BY(mutex) ZQM_THREAD_ANNOTATION(guarded_by(mutex))
#define ZQM_REQUIRES(...) ZQM_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define ZQM_EXCLUDES(...) ZQM_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ZQM_RETURNS(mutex) ZQM_THREAD_ANNOTATION(lock_returned(mutex))

namespace zqm {

template <class M>
class ZQM_THREAD_ANNOTATION(capability("mutex")) BasicMutex {
 public:
  void lock() ZQM_THREAD_ANNOTATION(acquire_capability()) { mutex_.lock(); }
  void unlock() ZQM_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
  // Tells the analysis that the mutex is held, which it cannot see inside a lambda.
  void assumeHeld() const ZQM_THREAD_ANNOTATION(assert_capability(this)) {}

 private:
  M mutex_;
};

using Mutex = BasicMutex<std::mutex>;
using RecursiveMutex = BasicMutex<std::recursive_mutex>;

// Holds `mutex` for the scope.
template <class M>
class ZQM_THREAD_ANNOTATION(scoped_lockable) BasicLock {
 public:
  explicit BasicLock(M& mutex) ZQM_THREAD_ANNOTATION(acquire_capability(mutex)) : mutex_(mutex) {
    mutex_.lock();
  }
  ~BasicLock() ZQM_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
  BasicLock(const BasicLock&) = delete;
  BasicLock& operator=(const BasicLock&) = delete;

 private:
  M& mutex_;
};

using MutexLock = BasicLock<Mutex>;
using RecursiveMutexLock = BasicLock<RecursiveMutex>;

// A condition variable for a mutex that the caller holds. Callers write the loop over their
// condition themselves, so that the analysis sees it.
class Condition {
 public:
  void wait(Mutex& mutex) ZQM_REQUIRES(mutex) { condition_.wait(mutex); }
  // Returns false on timeout.
  template <class Duration>
  bool waitFor(Mutex& mutex, Duration duration) ZQM_REQUIRES(mutex) {
    return condition_.wait_for(mutex, duration) == std::cv_status::no_timeout;
  }
  void notifyOne() { condition_.notify_one(); }
  void notifyAll() { condition_.notify_all(); }

 private:
  std::condition_variable_any condition_;
};

}  // namespace zqm
