// ZQMQueueRule: owns the queue of pending requests, in memory and in its file.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "zqm/base/Mutex.h"
#include "zqm/base/Snapshot.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/queue/ZQMQueueModel.h"

namespace zqm {

// What became of the items of this process, each counted once:
// loaded + accepted = delivered + removed + pending.
struct QueueCounts {
  // Read from the file of earlier launches.
  std::uint64_t loaded = 0;
  std::uint64_t accepted = 0;
  std::uint64_t delivered = 0;
  // Otherwise than by a delivery.
  std::uint64_t removed = 0;
  std::uint64_t pending = 0;
  // Beyond a bound, or more than a file can hold, and in none of the others.
  std::uint64_t refused = 0;
};

// What the queue may hold: items, and bytes of their bodies, urls and methods.
struct QueueBounds {
  std::size_t items = SIZE_MAX;
  std::size_t bytes = SIZE_MAX;
};

// Any thread, and nothing throws. The list in memory is the truth; every change is written through
// before the call returns. Whether the file could be written is not told.
class ZQM_EXPORT ZQMQueueRule {
 public:
  static ZQMQueueRule& sharedInstance();

  // Reads the stored queue.
  ZQMQueueRule();

  // Takes a request over for a later delivery: `data` as a POST to `url`. Starts no delivery. What
  // is no text (invalid UTF-8, a zero byte) counts as absent.
  void enqueue(const Text& url, std::optional<Bytes> data, const Text& method,
               std::optional<Date> date, bool priority);

  // The queue as it is now; later changes do not show in it. Makes, but does not save, an empty
  // queue where there is none.
  std::shared_ptr<const ZQMQueueModel> getQueue();

  // The very object that was read from the queue. Costs the same whatever its length, but for a
  // caller that removes faster than the file is made smaller on another thread: that one waits.
  void removeData(const ZQMQueueItems::Item& record);

  // The same for an item that the backend has accepted.
  void removeDelivered(const ZQMQueueItems::Item& record);

  // There is none unless a host sets one, but that the file can hold some 31 MiB of items. An item
  // beyond is refused, whatever its priority, and the first is reported; what is there already
  // stays.
  void setBounds(QueueBounds bounds);
  QueueCounts counts();

  // Replaces the queue. Items that it holds already stay, others are accepted or refused in their
  // order, and what is not among them is removed. None empties the memory and leaves the file as it
  // is.
  void refreshQueue(std::optional<ZQMQueueModel> queue);

  // Starts a delivery run, unless there is nothing to deliver or one is to begin already. What
  // fails is reported for "zqm-core" at level 4.
  void startQueue();

 private:
  void remove(const ZQMQueueItems::Item& record, std::atomic<std::uint64_t>& count);
  void replaceQueue(const std::optional<ZQMQueueModel>& queue);
  // Whether an item of that size may come to so many of so many bytes.
  bool hasRoom(std::size_t count, std::size_t bytes, std::size_t size) const;
  // Counts refused items; whether they are the first.
  bool refuse(std::uint64_t count);
  // Adds what was read to the counts.
  void countLoaded(const ZQMQueueModel& queue);
  // One change and one save. Null for no queue, before and after.
  using Model = std::shared_ptr<ZQMQueueModel>;
  void change(const std::function<void(Model&)>& edit);
  // Before the first save: sees to a file that is damaged, or that could not be looked at, whose
  // items then come before the others. False while nothing may be written over it.
  bool makeWay(std::optional<std::string>& keptAs) ZQM_REQUIRES(changes_);

  // Held over a change and its save, so that the order of saves is the order of changes. Readers
  // do not wait for it.
  Mutex changes_;
  // Null for no queue.
  Snapshot<ZQMQueueModel> queue_;
  // Made ahead, since giving it must not fail.
  const std::shared_ptr<const ZQMQueueModel> none_ = std::make_shared<const ZQMQueueModel>();
  // What was seen of the file; sound or none once it is this process's own.
  FileState file_ ZQM_GUARDED_BY(changes_);

  std::atomic<std::size_t> mostItems_ = SIZE_MAX;
  std::atomic<std::size_t> mostBytes_ = SIZE_MAX;
  // Changed in step with the queue, under the same lock.
  std::atomic<std::size_t> bytes_ = 0;
  std::atomic<std::uint64_t> loaded_ = 0;
  std::atomic<std::uint64_t> accepted_ = 0;
  std::atomic<std::uint64_t> delivered_ = 0;
  std::atomic<std::uint64_t> removed_ = 0;
  std::atomic<std::uint64_t> refused_ = 0;
};

}  // namespace zqm
