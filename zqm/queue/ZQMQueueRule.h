// ZQMQueueRule: the queue of pending requests, in memory and in its file.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "zqm/queue/ZQMQueueModel.h"

namespace zqm {

class QueueJournal;

// Counts each item of this process once: loaded + accepted = delivered + removed + pending.
struct QueueCounts {
  // Read from files of earlier launches, and of other processes that have ended.
  std::uint64_t loaded = 0;
  std::uint64_t accepted = 0;
  std::uint64_t delivered = 0;
  // Removed other than by a delivery.
  std::uint64_t removed = 0;
  std::uint64_t pending = 0;
  // Over a bound. Not part of the other counts.
  std::uint64_t refused = 0;
};

// The largest number of items, and of bytes in their bodies, URLs and methods.
struct QueueBounds {
  std::size_t items = SIZE_MAX;
  std::size_t bytes = SIZE_MAX;
};

// May be called from any thread. Nothing throws, except where noted. The items in memory are
// authoritative. Every change is written to the file before the call returns; a failure is not
// reported, but the change is written later.
class ZQM_EXPORT ZQMQueueRule {
 public:
  static ZQMQueueRule& sharedInstance();

  // Loads the stored queue.
  ZQMQueueRule();

  // Accepts a request for later delivery: `data` as a POST to `url`. Starts no delivery.
  void enqueue(const Text& url, std::optional<Bytes> data, const Text& method,
               std::optional<Date> date, bool priority);

  // Returns the queue as it is now; later changes do not affect it. If there is no queue, creates
  // an empty one without saving it.
  std::shared_ptr<const ZQMQueueModel> getQueue();

  // The number of items, and the item at an index; throws "NSRangeException" past the end.
  std::size_t count();
  ZQMQueueItems::Item itemAt(std::size_t index);

  // Removes every occurrence of this object, which getQueue or itemAt returned; not of its copies.
  void removeData(const ZQMQueueItems::Item& record);

  // Like `removeData`, for an item that the backend has accepted.
  void removeDelivered(const ZQMQueueItems::Item& record);

  // Unlimited by default. An item over a bound is refused, whatever its priority, and the first one
  // is reported. Items already in the queue stay.
  void setBounds(QueueBounds bounds);
  QueueCounts counts();

  // Replaces the queue by `queue`. Items that are in it already stay the same objects; new ones are
  // accepted or refused in order; items that `queue` lacks are removed. Without a model, the queue
  // in memory becomes empty and the file is left unchanged.
  void refreshQueue(std::optional<ZQMQueueModel> queue);

  // Takes the items that processes which have ended left in the container. Failures are reported
  // once, under "zqm-core", level 4. Waits for the disk.
  void adoptQueues();

  // Starts a delivery run, unless the queue is empty or a run is already about to begin. Failures
  // are reported under "zqm-core", level 4.
  void startQueue();

 private:
  void remove(const ZQMQueueItems::Item& record, std::uint64_t& count);
  // Both return whether the caller has to report the first refusal.
  bool add(const ZQMQueueItems::Item& item);
  bool replaceQueue(const ZQMQueueModel& queue);
  // Whether an item of `size` bytes may be added to `count` items of `bytes` bytes.
  bool hasRoom(std::size_t count, std::size_t bytes, std::size_t size) const;
  // Counts refused items. Returns whether they are the first.
  bool refuse(std::uint64_t count);

  QueueJournal& journal_;

  // All guarded by the journal's mutex, so that a change and its counts are one step.
  // Whether there is a queue, and whether it has a list.
  bool hasQueue_ = false;
  bool hasList_ = false;
  // The snapshot returned last, made on demand, and the version of the items in it.
  std::shared_ptr<const ZQMQueueModel> snapshot_;
  std::uint64_t snapshotVersion_ = 0;

  QueueBounds bounds_;
  std::uint64_t accepted_ = 0;
  std::uint64_t delivered_ = 0;
  std::uint64_t removed_ = 0;
  std::uint64_t refused_ = 0;
};

}  // namespace zqm
