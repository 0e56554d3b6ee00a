// WorkerPool: threads that come with demand and leave when idle.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "zqm/base/Export.h"

namespace zqm {

// Starts a detached thread with every signal blocked, so that the host's handlers never run on
// it. `name` shows in debuggers (at most 15 characters). False when the system refuses a thread;
// throws when there is no memory for what the thread is handed.
ZQM_EXPORT bool startThread(const std::string& name, std::function<void()> body);

// Runs tasks on up to `limit` threads; past that they wait in order. A task may block for long;
// what it throws is dropped. Nothing is joined: destroying the pool lets queued tasks finish.
class ZQM_EXPORT WorkerPool {
 public:
  WorkerPool(std::string name, std::size_t limit);
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Returns at once. Throws, and what was queued is dropped, when the system refuses even a first
  // thread.
  void submit(std::function<void()> task);

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace zqm
