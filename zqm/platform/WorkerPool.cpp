// The threads of the executor and of completions.
#include "zqm/platform/WorkerPool.h"

#include <chrono>
#include <deque>
#include <memory>
#include <system_error>

#include "zqm/base/Exception.h"
#include "zqm/base/Mutex.h"
#include "zqm/base/System.h"

namespace zqm {
namespace {

constexpr std::chrono::seconds kIdleTime{5};

}  // namespace

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

  // Waits for the next task. Returns an empty one if the thread is to exit.
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
  // Created in advance, because dropping the tasks must not fail.
  std::deque<std::function<void()>> dropped;
  {
    const MutexLock lock(state_->mutex);
    state_->tasks.push_back(std::move(task));
    // A new thread is needed only for tasks that no idle thread will take.
    const bool enough = state_->idle >= state_->tasks.size() || state_->threads >= state_->limit;
    if (state_->idle > 0) state_->wake.notifyOne();
    if (enough) return;
    ++state_->threads;
  }
  bool started = false;
  guarded([&] {
    started = startThread(state_->name, [state = state_] {
      // Every boundary that reports has been passed.
      while (const auto run = state->next()) guarded(run);
    });
  });
  if (started) return;
  {
    const MutexLock lock(state_->mutex);
    if (--state_->threads > 0) return;
    dropped.swap(state_->tasks);
  }
  throw std::system_error(EAGAIN, std::generic_category());
}

}  // namespace zqm
