// ZQMQueueRule: owns the queue of pending requests, in memory and in its file.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "zqm/queue/ZQMQueueModel.h"

namespace zqm {

class QueueJournal;

// What became of the items of this process, each counted once:
// loaded + accepted = delivered + removed + pending.
struct QueueCounts {
  // Read from files of earlier launches, and of other processes that are gone.
  std::uint64_t loaded = 0;
  std::uint64_t accepted = 0;
  std::uint64_t delivered = 0;
  // Otherwise than by a delivery.
  std::uint64_t removed = 0;
  std::uint64_t pending = 0;
  // Beyond a bound, and in none of the others.
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

  // Takes a request over for a later delivery: `data` as a POST to `url`. Starts no delivery.
  void enqueue(const Text& url, std::optional<Bytes> data, const Text& method,
               std::optional<Date> date, bool priority);

  // The queue as it is now; later changes do not show in it. Makes, but does not save, an empty
  // queue where there is none.
  std::shared_ptr<const ZQMQueueModel> getQueue();

  // How many items there are now, and the one at an index; throws "NSRangeException" past the end.
  std::size_t count();
  ZQMQueueItems::Item itemAt(std::size_t index);

  // The very object that was read from the queue.
  void removeData(const ZQMQueueItems::Item& record);

  // The same for an item that the backend has accepted.
  void removeDelivered(const ZQMQueueItems::Item& record);

  // There is none unless a host sets one. An item beyond is refused, whatever its priority, and the
  // first is reported; what is there already stays.
  void setBounds(QueueBounds bounds);
  QueueCounts counts();

  // Replaces the queue. Items that it holds already stay, others are accepted or refused in their
  // order, and what is not among them is removed. None empties the memory and leaves the file as it
  // is.
  void refreshQueue(std::optional<ZQMQueueModel> queue);

  // Takes what processes that are gone have left in the container. What cannot be taken is reported
  // once for "zqm-core" at level 4. Waits for the disk.
  void adoptQueues();

  // Starts a delivery run, unless there is nothing to deliver or one is to begin already. What
  // fails is reported for "zqm-core" at level 4.
  void startQueue();

 private:
  void remove(const ZQMQueueItems::Item& record, std::uint64_t& count);
  void replaceQueue(const ZQMQueueModel& queue);
  // Whether an item of that size may come to so many of so many bytes.
  bool hasRoom(std::size_t count, std::size_t bytes, std::size_t size) const;
  // Counts refused items; whether they are the first.
  bool refuse(std::uint64_t count);

  QueueJournal& journal_;

  // All under the journal's mutex, so that a change and what is counted of it are one step.
  // There is a queue, and there is a list in it.
  bool hasQueue_ = false;
  bool hasList_ = false;
  // What was handed out last, and of which version of the items; made when somebody asks.
  std::shared_ptr<const ZQMQueueModel> snapshot_;
  std::uint64_t snapshotVersion_ = 0;

  QueueBounds bounds_;
  std::uint64_t accepted_ = 0;
  std::uint64_t delivered_ = 0;
  std::uint64_t removed_ = 0;
  std::uint64_t refused_ = 0;
};

}  // namespace zqm
