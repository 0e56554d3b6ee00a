// The queue in memory and its file.
#include "zqm/queue/ZQMQueueRule.h"

#include <algorithm>
#include <string>
#include <unordered_set>
#include <vector>

#include "zqm/base/Exception.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/platform/Process.h"
#include "zqm/queue/ZQMBlockOperation.h"
#include "zqm/queue/ZQMExecutorOperation.h"
#include "zqm/queue/ZQMQueueOperation.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

PerProcess<ZQMQueueRule> shared;

constexpr const char* kRunName = "block-queue";

void report(const Exception& exception) { ZQMLogHandler::logException(exception, kCoreModule, 4); }

// A report takes milliseconds, which are not the caller's to pay.
void reportLater(std::string_view text, std::string_view detail = {}) {
  guarded(
      [&] {
        const std::string whole = std::string(text).append(detail);
        ZQMExecutorOperation::sharedInstance().execute(ZQMBlockOperation::initWithModuleName(
            kCoreModule, [whole] { report(Exception(kInternalInconsistencyException, whole)); }));
      },
      report);
}

void reportRefusal() { reportLater("The queue is at its bound; items beyond it are refused."); }

// What an item takes in the file, beside its texts and its body.
constexpr std::size_t kItemHead = 256;
constexpr std::size_t kStorable = ListFile<ZQMQueueItems>::kLargestContent;

std::size_t sizeOf(const Text& text) { return text.text() ? text.text()->size() : 0; }

std::size_t bytesOf(const ZQMQueueDataModel& item) {
  if (item.data.bytes()) return item.data.bytes()->size() + sizeOf(item.url) + sizeOf(item.method);
  // Nothing, or what a module put there.
  LogEntry entry{Splice()};
  return entry.add(item) ? entry.contentSize() : 0;
}

// One text that no file can hold would keep all others from being saved.
Text storable(const Text& given) {
  const std::string* const text = given.text();
  const bool isText = text && isValidUtf8(*text) && text->find('\0') == std::string::npos;
  return isText ? given : Text();
}

// The item, or a copy without what no file can hold.
ZQMQueueItems::Item storable(const ZQMQueueItems::Item& item) {
  if (LogEntry(Splice()).add(*item)) return item;
  auto copy = std::make_shared<ZQMQueueDataModel>(*item);
  copy->qId = storable(copy->qId);
  copy->url = storable(copy->url);
  copy->method = storable(copy->method);
  if (!copy->data.bytes()) copy->data = Value();
  return copy;
}

}  // namespace

ZQMQueueRule& ZQMQueueRule::sharedInstance() { return *shared; }

ZQMQueueRule::ZQMQueueRule() {
  const MutexLock lock(changes_);
  auto [state, stored] = ZQMDatabase::findRecord<ZQMQueueModel>();
  file_ = state;
  if (!stored) return;
  countLoaded(*stored);
  queue_.set(std::make_shared<const ZQMQueueModel>(*std::move(stored)));
}

void ZQMQueueRule::countLoaded(const ZQMQueueModel& queue) {
  loaded_ += queue.count();
  if (!queue.data) return;
  queue.data->forEach([this](const ZQMQueueDataModel& item) { bytes_ += bytesOf(item); });
}

void ZQMQueueRule::setBounds(QueueBounds bounds) {
  mostItems_ = bounds.items;
  mostBytes_ = bounds.bytes;
}

QueueCounts ZQMQueueRule::counts() {
  const MutexLock lock(changes_);
  const auto queue = queue_.get();
  return {loaded_, accepted_, delivered_, removed_, queue ? queue->count() : 0, refused_};
}

void ZQMQueueRule::enqueue(const Text& url, std::optional<Bytes> data, const Text& method,
                           std::optional<Date> date, bool priority) {
  bool isFirstRefused = false;
  const auto add = [&](Model& queue) {
    if (!queue) queue = std::make_shared<ZQMQueueModel>();
    auto item = std::make_shared<const ZQMQueueDataModel>(date, std::move(data), storable(url),
                                                          storable(method), priority);
    const std::size_t size = bytesOf(*item);
    if (!hasRoom(queue->count(), bytes_, size)) {
      isFirstRefused = refuse(1);
      return;
    }
    queue->addData(std::move(item));
    bytes_ += size;
    ++accepted_;
  };
  change(std::cref(add));
  if (isFirstRefused) reportRefusal();
}

bool ZQMQueueRule::hasRoom(std::size_t count, std::size_t bytes, std::size_t size) const {
  const std::size_t heads = kItemHead * (count + 1);
  const std::size_t most =
      std::min<std::size_t>(mostBytes_, kStorable - std::min(kStorable, heads));
  return count < mostItems_ && size <= most && bytes <= most - size;
}

bool ZQMQueueRule::refuse(std::uint64_t count) {
  return count > 0 && refused_.fetch_add(count) == 0;
}

std::shared_ptr<const ZQMQueueModel> ZQMQueueRule::getQueue() {
  if (auto queue = queue_.get()) return queue;
  const MutexLock lock(changes_);
  auto queue = queue_.get();
  if (!queue) queue_.set(queue = none_);
  return queue;
}

void ZQMQueueRule::removeData(const ZQMQueueItems::Item& record) { remove(record, removed_); }

void ZQMQueueRule::removeDelivered(const ZQMQueueItems::Item& record) {
  remove(record, delivered_);
}

void ZQMQueueRule::remove(const ZQMQueueItems::Item& record, std::atomic<std::uint64_t>& count) {
  bool hasList = false;
  const auto takeOut = [&](const Model& queue) {
    // A save would write over the file of a queue that was let go of.
    if (!queue || !queue->data) return;
    hasList = true;
    const std::size_t size = record ? bytesOf(*record) : 0;
    const std::size_t before = queue->count();
    queue->data->remove(record);
    count += before - queue->count();
    bytes_ -= (before - queue->count()) * size;
  };
  change(std::cref(takeOut));
  if (!hasList) return;
  // Both take the time of a disk, which those who enqueue meanwhile need not pay.
  ZQMQueueModel::logRemoval();
  ZQMDatabase::waitUntilSmall<ZQMQueueModel>();
}

void ZQMQueueRule::refreshQueue(std::optional<ZQMQueueModel> queue) {
  guarded([&] { replaceQueue(queue); }, report);
}

void ZQMQueueRule::replaceQueue(const std::optional<ZQMQueueModel>& queue) {
  std::vector<ZQMQueueItems::Item> handed;
  for (std::size_t i = 0; queue && i < queue->count(); ++i) {
    if (const auto item = queue->data->at(i)) handed.push_back(storable(item));
  }
  bool isFirstRefused = false;
  const auto replace = [&](Model& current) {
    if (!current) current = std::make_shared<ZQMQueueModel>();
    std::unordered_multiset<const void*> left;
    if (current->data) {
      current->data->forEach([&](const ZQMQueueDataModel& item) { left.insert(&item); });
    }
    std::unordered_set<const void*> taken;
    ZQMQueueModel next;
    if (queue && queue->data) next.data.emplace();
    std::size_t bytes = 0;
    std::uint64_t accepted = 0;
    for (const auto& item : handed) {
      const std::size_t size = bytesOf(*item);
      const auto known = left.find(item.get());
      if (known != left.end()) {
        left.erase(known);
      } else if (hasRoom(next.count(), bytes, size)) {
        ++accepted;
      } else {
        continue;
      }
      taken.insert(item.get()).second ? next.data->appendNew(item) : next.data->append(item);
      bytes += size;
    }
    *current = std::move(next);
    bytes_ = bytes;
    accepted_ += accepted;
    removed_ += left.size();
    isFirstRefused = refuse(handed.size() - current->count());
  };
  if (queue) {
    change(std::cref(replace));
    if (isFirstRefused) reportRefusal();
    return ZQMDatabase::waitUntilSmall<ZQMQueueModel>();
  }
  const MutexLock lock(changes_);
  if (const auto current = queue_.get()) {
    auto left = std::make_shared<ZQMQueueModel>(*current);
    replace(left);
  }
  queue_.set(nullptr);
}

void ZQMQueueRule::change(const std::function<void(Model&)>& edit) {
  std::optional<std::string> keptAs;
  const auto changeAndSave = [&] {
    const MutexLock lock(changes_);
    const bool isOurs = makeWay(keptAs);
    const auto current = queue_.get();
    auto next = current ? std::make_shared<ZQMQueueModel>(*current) : nullptr;
    // Nothing may throw between what it counts and the queue that it counts for.
    edit(next);
    if (!next) return;
    queue_.set(next);
    if (isOurs && ZQMDatabase::saveObject<ZQMQueueModel>(*next)) file_ = FileState::sound;
  };
  guarded(changeAndSave, report);
  if (keptAs) reportLater("The queue's file could not be read; it is kept as ", *keptAs);
}

bool ZQMQueueRule::makeWay(std::optional<std::string>& keptAs) {
  if (file_ == FileState::sound) return true;
  const bool wasSeen = file_ == FileState::damaged;
  const auto [state, stored] = ZQMDatabase::findRecord<ZQMQueueModel>();
  if (!wasSeen && stored && stored->data) {
    const auto both = std::make_shared<ZQMQueueModel>(*stored);
    const auto queue = queue_.get();
    for (std::size_t i = 0; queue && i < queue->count(); ++i) {
      both->data->append(queue->data->at(i));
    }
    countLoaded(*stored);
    queue_.set(both);
  }
  file_ = state;
  if (file_ == FileState::damaged) {
    keptAs = ZQMDatabase::setAside<ZQMQueueModel>();
    if (keptAs) file_ = FileState::none;
  }
  // Without a place nothing can be lost in it.
  return file_ != FileState::unreadable && file_ != FileState::damaged;
}

void ZQMQueueRule::startQueue() {
  guarded(
      [this] {
        const auto queue = queue_.get();
        if (!queue || queue->count() == 0) return;
        const auto run =
            ZQMBlockOperation::initWithModuleName(kCoreModule, [] { ZQMQueueOperation::start(); });
        run->setName(kRunName);
        ZQMExecutorOperation::sharedInstance().executeUnlessListed(run);
      },
      report);
}

}  // namespace zqm
