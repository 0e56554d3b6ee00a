// The queue as its users see it; QueueJournal has the items and their file.
#include "zqm/queue/ZQMQueueRule.h"

#include <string>
#include <unordered_set>

#include "zqm/base/Exception.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/platform/Process.h"
#include "zqm/queue/QueueJournal.h"
#include "zqm/queue/ZQMQueueOperation.h"
#include "zqm/queue/executor/ZQMExecutorOperation.h"

namespace zqm {
namespace {

PerProcess<ZQMQueueRule> shared;

constexpr const char* kRunName = "block-queue";

constexpr auto report = reportAs(kCoreModule, 4);

// A report takes milliseconds, so it is not made on the caller's thread.
void reportRefusalLater() {
  execute(kCoreModule, [] {
    report(Exception(kInternalInconsistencyException,
                     "The queue is at its bound; items beyond it are refused."));
  });
}

}  // namespace

ZQMQueueRule& ZQMQueueRule::sharedInstance() { return *shared; }

ZQMQueueRule::ZQMQueueRule() : journal_(QueueJournal::sharedInstance()) {
  const MutexLock lock(journal_.mutex());
  journal_.attach();
  hasQueue_ = hasList_ = journal_.hasFile();
}

void ZQMQueueRule::setBounds(QueueBounds bounds) {
  const MutexLock lock(journal_.mutex());
  bounds_ = bounds;
}

QueueCounts ZQMQueueRule::counts() {
  const MutexLock lock(journal_.mutex());
  return {journal_.loaded(), accepted_, delivered_, removed_, journal_.items().size(), refused_};
}

void ZQMQueueRule::enqueue(const Text& url, std::optional<Bytes> data, const Text& method,
                           std::optional<Date> date, bool priority) {
  guarded(
      [&] {
        const auto item =
            std::make_shared<const ZQMQueueDataModel>(date, std::move(data), url, method, priority);
        if (add(item)) reportRefusalLater();
      },
      report);
}

bool ZQMQueueRule::add(const ZQMQueueItems::Item& item) {
  const std::size_t size = bytesOf(*item);
  const MutexLock lock(journal_.mutex());
  hasQueue_ = true;
  if (!hasRoom(journal_.items().size(), journal_.bytes(), size)) return refuse(1);
  journal_.add(item);
  hasList_ = true;
  ++accepted_;
  return false;
}

bool ZQMQueueRule::hasRoom(std::size_t count, std::size_t bytes, std::size_t size) const {
  return count < bounds_.items && size <= bounds_.bytes && bytes <= bounds_.bytes - size;
}

bool ZQMQueueRule::refuse(std::uint64_t count) {
  const bool isFirst = count > 0 && refused_ == 0;
  refused_ += count;
  return isFirst;
}

std::shared_ptr<const ZQMQueueModel> ZQMQueueRule::getQueue() {
  const MutexLock lock(journal_.mutex());
  hasQueue_ = true;
  if (snapshot_ && snapshotVersion_ == journal_.version()) return snapshot_;
  const auto model = std::make_shared<ZQMQueueModel>();
  if (hasList_ || !journal_.items().empty()) model->data.emplace();
  for (const JournalItem& each : journal_.items()) model->data->append(each.item);
  snapshot_ = model;
  snapshotVersion_ = journal_.version();
  return snapshot_;
}

std::size_t ZQMQueueRule::count() {
  const MutexLock lock(journal_.mutex());
  return journal_.items().size();
}

ZQMQueueItems::Item ZQMQueueRule::itemAt(std::size_t index) {
  const MutexLock lock(journal_.mutex());
  const auto& items = journal_.items();
  if (index >= items.size()) throw ZQMQueueItems::beyond(index, items.size());
  return items[index].item;
}

void ZQMQueueRule::removeData(const ZQMQueueItems::Item& record) { remove(record, removed_); }

void ZQMQueueRule::removeDelivered(const ZQMQueueItems::Item& record) {
  remove(record, delivered_);
}

void ZQMQueueRule::remove(const ZQMQueueItems::Item& record, std::uint64_t& count) {
  bool hasList = false;
  const auto takeOut = [&] {
    const MutexLock lock(journal_.mutex());
    const bool hasItems = !journal_.items().empty();
    if (!hasQueue_ && !hasItems) return;
    hasList = hasList_ || hasItems;
    count += journal_.remove(record);
  };
  guarded(takeOut, report);
  if (hasList) ZQMQueueModel::logRemoval();
}

void ZQMQueueRule::refreshQueue(std::optional<ZQMQueueModel> queue) {
  guarded(
      [&] {
        if (queue) {
          if (replaceQueue(*queue)) reportRefusalLater();
          return;
        }
        const MutexLock lock(journal_.mutex());
        removed_ += journal_.items().size();
        journal_.release();
        hasQueue_ = hasList_ = false;
      },
      report);
}

bool ZQMQueueRule::replaceQueue(const ZQMQueueModel& queue) {
  const MutexLock lock(journal_.mutex());
  std::unordered_multiset<const void*> left;
  for (const JournalItem& each : journal_.items()) left.insert(each.item.get());
  ZQMQueueItems next;
  std::size_t bytes = 0;
  std::uint64_t accepted = 0;
  std::uint64_t refused = 0;
  for (const auto& item : queue.data.value_or(ZQMQueueItems())) {
    if (!item) continue;
    const std::size_t size = bytesOf(*item);
    const auto known = left.find(item.get());
    const bool isNew = known == left.end();
    if (isNew && !hasRoom(next.size(), bytes, size)) {
      ++refused;
      continue;
    }
    if (isNew) ++accepted;
    if (!isNew) left.erase(known);
    next.append(item);
    bytes += size;
  }
  journal_.replace(next);
  hasQueue_ = true;
  hasList_ = queue.data.has_value();
  accepted_ += accepted;
  removed_ += left.size();
  return refuse(refused);
}

void ZQMQueueRule::adoptQueues() {
  guarded(
      [this] {
        for (const std::string& each : journal_.recover()) {
          report(Exception(kInternalInconsistencyException, each));
        }
      },
      report);
}

void ZQMQueueRule::startQueue() {
  guarded(
      [this] {
        if (count() == 0) return;
        const auto run =
            ZQMBlockOperation::initWithModuleName(kCoreModule, [] { ZQMQueueOperation::start(); });
        run->setName(kRunName);
        ZQMExecutorOperation::sharedInstance().executeUnlessListed(run);
      },
      report);
}

}  // namespace zqm
