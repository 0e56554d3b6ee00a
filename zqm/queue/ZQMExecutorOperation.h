// ZQMExecutorOperation: the queue of named work items on which all module work runs.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "zqm/base/Mutex.h"
#include "zqm/base/WorkerPool.h"
#include "zqm/queue/ZQMBlockOperation.h"

namespace zqm {

class ZQM_EXPORT ZQMExecutorOperation {
 public:
  using Item = std::shared_ptr<ZQMBlockOperation>;

  // A listed item, under the name that it had when it was handed in.
  struct Operation {
    std::string name;
    Item item;
  };

  static ZQMExecutorOperation& sharedInstance();

  // Returns at once. The item may run beside others and may block; it carries the caller's
  // Process.
  void execute(const Item& item);

  // Looks for an operation of the item's name and hands the item in where there is none, in one
  // step. False when one was listed.
  bool executeUnlessListed(const Item& item);

  // Runs the item on the calling thread.
  void executorOperation(const Item& item);

  // What is pending or running, in the order in which it was handed in. An item stays until it
  // has finished.
  std::vector<Operation> operations() const;

 private:
  using Entry = std::shared_ptr<const Operation>;

  void run(const Entry& entry);
  void finish(const Entry& entry);

  mutable Mutex mutex_;
  std::deque<Entry> operations_ ZQM_GUARDED_BY(mutex_);
  // An item may wait a minute for its network exchange, hence so many.
  WorkerPool pool_{"zqm-executor", 64};
};

// Hands a piece of work of a module to the shared executor.
void execute(std::string moduleName, std::function<void()> work);

}  // namespace zqm
