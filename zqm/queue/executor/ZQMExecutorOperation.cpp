// The executor's list of operations, and its threads.
#include "zqm/queue/executor/ZQMExecutorOperation.h"

#include <algorithm>

#include "zqm/platform/Process.h"

namespace zqm {
namespace {

constexpr std::int32_t kBackgroundQuality = 9;
constexpr std::int32_t kVeryHighPriority = 8;

const PerProcess<ZQMExecutorOperation> shared;

}  // namespace

ZQMExecutorOperation& ZQMExecutorOperation::sharedInstance() { return *shared; }

void ZQMExecutorOperation::execute(const Item& item) { submit(item, false); }

bool ZQMExecutorOperation::executeUnlessListed(const Item& item) { return submit(item, true); }

bool ZQMExecutorOperation::submit(const Item& item, bool unlessListed) {
  if (!item) return false;
  const auto entry = std::make_shared<const Operation>(Operation{item->name(), item});
  const auto hasItsName = [&](const Entry& listed) { return listed->name == entry->name; };
  {
    const MutexLock lock(mutex_);
    if (unlessListed && std::ranges::any_of(operations_, hasItsName)) return false;
    operations_.push_back(entry);
  }
  // The operation is listed as long as its task exists, also if no thread can be started.
  const std::shared_ptr<void> listed(nullptr, [this, entry](void*) {
    // The item is destroyed with the entry, after the mutex is released.
    const MutexLock lock(mutex_);
    operations_.erase(std::ranges::find(operations_, entry));
  });
  pool_.submit(Process::current().bind([this, entry, listed] { executorOperation(entry->item); }));
  return true;
}

void ZQMExecutorOperation::executorOperation(const Item& item) {
  // These do not change the order of the items: the task was scheduled before.
  item->setQualityOfService(kBackgroundQuality);
  item->setQueuePriority(kVeryHighPriority);
  item->start();
}

std::vector<ZQMExecutorOperation::Operation> ZQMExecutorOperation::operations() const {
  const MutexLock lock(mutex_);
  std::vector<Operation> listed;
  for (const Entry& entry : operations_) listed.push_back(*entry);
  return listed;
}

void execute(std::string moduleName, std::function<void()> work) {
  ZQMExecutorOperation::sharedInstance().execute(
      ZQMBlockOperation::initWithModuleName(std::move(moduleName), std::move(work)));
}

}  // namespace zqm
