// The threads behind executor and completions.
#include "zqm/base/WorkerPool.h"

#include <pthread.h>
#include <signal.h>

#include <chrono>
#include <deque>
#include <exception>
#include <thread>

#include "zqm/base/Mutex.h"

namespace zqm {
namespace {

constexpr std::chrono::seconds kIdleTime{5};

// Blocks every signal of the calling thread for a scope.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

// What gets this far has passed every boundary that reports; it must not end the host's process.
void runQuietly(const std::function<void()>& body) noexcept {
  try {
    body();
  } catch (...) {
  }
}

}  // namespace

bool startThread(const std::string& name, std::function<void()> body) {
  // A new thread inherits the mask, so that no signal can arrive on it even before it runs.
  const SignalsBlocked blocked;
  try {
    std::thread thread([body = std::move(body)] { runQuietly(body); });
    pthread_setname_np(thread.native_handle(), name.substr(0, 15).c_str());
    thread.detach();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

struct WorkerPool::State {
  State(std::string poolName, std::size_t poolLimit)
      : name(std::move(poolName)), limit(poolLimit) {}

  const std::string name;
  const std::size_t limit;
  Mutex mutex;
  Condition wake;
  std::deque<std::function<void()>> tasks ZQM_GUARDED_BY(mutex);
  std::size_t threads ZQM_GUARDED_BY(mutex) = 0;
  std::size_t idle ZQM_GUARDED_BY(mutex) = 0;
  bool closing ZQM_GUARDED_BY(mutex) = false;

  // The next task; an empty one when the thread should go.
  std::function<void()> next() ZQM_EXCLUDES(mutex) {
    const MutexLock lock(mutex);
    ++idle;
    bool inTime = true;
    while (tasks.empty() && inTime && !closing) inTime = wake.waitFor(mutex, kIdleTime);
    --idle;
    if (tasks.empty()) {
      --threads;
      return {};
    }
    auto task = std::move(tasks.front());
    tasks.pop_front();
    return task;
  }
};

WorkerPool::WorkerPool(std::string name, std::size_t limit)
    : state_(std::make_shared<State>(std::move(name), limit)) {}

WorkerPool::~WorkerPool() {
  const MutexLock lock(state_->mutex);
  state_->closing = true;
  state_->wake.notifyAll();
}

void WorkerPool::submit(std::function<void()> task) {
  {
    const MutexLock lock(state_->mutex);
    state_->tasks.push_back(std::move(task));
    // Only tasks that no idle thread will take need a new one.
    const bool enough = state_->idle >= state_->tasks.size() || state_->threads >= state_->limit;
    state_->wake.notifyOne();
    if (enough) return;
    ++state_->threads;
  }
  const bool started = startThread(state_->name, [state = state_] {
    while (const auto run = state->next()) runQuietly(run);
  });
  if (!started) {
    const MutexLock lock(state_->mutex);
    --state_->threads;
  }
}

}  // namespace zqm
