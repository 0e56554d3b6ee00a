// WorkerPool: threads that are started on demand and exit when idle.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "zqm/base/Export.h"

namespace zqm {

// Runs tasks on up to `limit` threads; further tasks wait in order. A task may block for long; its
// exceptions are ignored. No thread is joined: after destruction, queued tasks still run.
class ZQM_EXPORT WorkerPool {
 public:
  WorkerPool(std::string name, std::size_t limit);
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Returns at once. If the pool has no thread and cannot start one, throws and drops all queued
  // tasks.
  void submit(std::function<void()> task);

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace zqm
