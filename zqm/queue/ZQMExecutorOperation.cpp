// The executor's list of operations and the threads under it.
#include "zqm/queue/ZQMExecutorOperation.h"

#include "zqm/platform/Process.h"

namespace zqm {
namespace {

constexpr std::int32_t kBackgroundQuality = 9;
constexpr std::int32_t kVeryHighPriority = 8;

const PerProcess<ZQMExecutorOperation> shared;

}  // namespace

ZQMExecutorOperation& ZQMExecutorOperation::sharedInstance() { return *shared; }

void ZQMExecutorOperation::execute(Item item) {
  if (!item) return;
  std::list<Operation> added{{item->name(), std::move(item)}};
  const Entry entry = added.begin();
  {
    const MutexLock lock(mutex_);
    operations_.splice(operations_.end(), added);
  }
  run(entry);
}

bool ZQMExecutorOperation::executeUnlessListed(Item item) {
  if (!item) return false;
  std::list<Operation> added{{item->name(), std::move(item)}};
  const Entry entry = added.begin();
  {
    const MutexLock lock(mutex_);
    for (const Operation& listed : operations_) {
      if (listed.name == entry->name) return false;
    }
    operations_.splice(operations_.end(), added);
  }
  run(entry);
  return true;
}

void ZQMExecutorOperation::run(Entry entry) {
  pool_.submit(Process::current().bind(std::function<void()>([this, entry] {
    executorOperation(entry->item);
    std::list<Operation> finished;
    const MutexLock lock(mutex_);
    // Moved out, so that what the item holds is destroyed after the lock.
    finished.splice(finished.end(), operations_, entry);
  })));
}

void ZQMExecutorOperation::executorOperation(const Item& item) {
  // They do not change the order of the items: the wrapper has been scheduled before them.
  item->setQualityOfService(kBackgroundQuality);
  item->setQueuePriority(kVeryHighPriority);
  item->start();
}

std::vector<ZQMExecutorOperation::Operation> ZQMExecutorOperation::operations() const {
  const MutexLock lock(mutex_);
  return {operations_.begin(), operations_.end()};
}

}  // namespace zqm
