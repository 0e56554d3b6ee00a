// ZQMExecutorOperation: the executor of named work items, on which all module work runs.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "zqm/base/Mutex.h"
#include "zqm/platform/WorkerPool.h"
#include "zqm/queue/executor/ZQMBlockOperation.h"

namespace zqm {

class ZQM_EXPORT ZQMExecutorOperation {
 public:
  using Item = std::shared_ptr<ZQMBlockOperation>;

  // A listed item, with the name that it had when it was submitted.
  struct Operation {
    std::string name;
    Item item;
  };

  static ZQMExecutorOperation& sharedInstance();

  // Returns at once. The item may run beside others and may block. It runs in the caller's Process.
  void execute(const Item& item);

  // Atomically submits the item unless an operation of the same name is pending or running. Returns
  // whether it was submitted.
  bool executeUnlessListed(const Item& item);

  // Runs the item on the calling thread.
  void executorOperation(const Item& item);

  // Returns the pending and running operations in the order of their submission. An item is listed
  // until it has finished.
  std::vector<Operation> operations() const;

 private:
  using Entry = std::shared_ptr<const Operation>;

  bool submit(const Item& item, bool unlessListed);

  mutable Mutex mutex_;
  std::deque<Entry> operations_ ZQM_GUARDED_BY(mutex_);
  // So many because an item may wait a minute for its network exchange.
  WorkerPool pool_{"zqm-executor", 64};
};

// Submits a module's work to the shared executor.
ZQM_EXPORT void execute(std::string moduleName, std::function<void()> work);

}  // namespace zqm
