// The threads behind executor and completions.
#include "zqm/base/WorkerPool.h"

#include <pthread.h>
#include <signal.h>

#include <chrono>
#include <deque>
#include <system_error>
#include <thread>

#include "zqm/base/Mutex.h"

namespace zqm {
namespace {

constexpr std::chrono::seconds kIdleTime{5};

}  // namespace

bool startThread(const std::string& name, std::function<void()> body) {
  // A new thread inherits the mask, so that no signal can arrive on it even before it runs.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  bool started = true;
  try {
    std::thread thread(std::move(body));
    pthread_setname_np(thread.native_handle(), name.substr(0, 15).c_str());
    thread.detach();
  } catch (const std::system_error&) {
    started = false;
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return started;
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
    while (auto run = state->next()) run();
  });
  if (!started) {
    const MutexLock lock(state_->mutex);
    --state_->threads;
  }
}

}  // namespace zqm
