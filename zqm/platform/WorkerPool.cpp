// The threads of the executor and of completions.
#include "zqm/platform/WorkerPool.h"

#include <pthread.h>
#include <sched.h>
#include <signal.h>

#include <chrono>
#include <deque>
#include <memory>
#include <system_error>

#include "zqm/base/Exception.h"
#include "zqm/base/Mutex.h"

namespace zqm {
namespace {

constexpr std::chrono::seconds kIdleTime{5};

// Blocks all signals of the calling thread for the scope.
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

// Every boundary that reports has been passed; the exception must not end the host's process.
void runQuietly(const std::function<void()>& body) noexcept {
  try {
    body();
  } catch (...) {
  }
}

// Under SCHED_BATCH, waking the thread does not preempt the host's threads.
void yieldToHost() {
#ifdef SCHED_BATCH
  const sched_param none{};
  pthread_setschedparam(pthread_self(), SCHED_BATCH, &none);
#endif
}

// The argument of `runThread`. std::thread is not used because its first use in a process searches
// every loaded library for pthread_create.
struct ThreadStart {
  std::string name;
  std::function<void()> body;
};

void* runThread(void* argument) {
  const std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(argument));
  // The thread names itself, because naming another thread writes to a file of the system.
  pthread_setname_np(pthread_self(), start->name.c_str());
  yieldToHost();
  runQuietly(start->body);
  return nullptr;
}

}  // namespace

bool startThread(const std::string& name, std::function<void()> body) {
  std::unique_ptr<ThreadStart> start(new ThreadStart{name.substr(0, 15), std::move(body)});
  pthread_attr_t detached;
  if (pthread_attr_init(&detached) != 0) return false;
  pthread_attr_setdetachstate(&detached, PTHREAD_CREATE_DETACHED);
  // A new thread inherits the mask, so no signal can be delivered to it even before it runs.
  const SignalsBlocked blocked;
  pthread_t thread{};
  const bool started = pthread_create(&thread, &detached, runThread, start.get()) == 0;
  pthread_attr_destroy(&detached);
  // The thread owns it from here on.
  if (started) static_cast<void>(start.release());
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
      while (const auto run = state->next()) runQuietly(run);
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
