// ListFile: the list that a record class stores, and its file as it grows and is rewritten.
#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "zqm/base/Exception.h"
#include "zqm/base/Mutex.h"
#include "zqm/base/WorkerPool.h"
#include "zqm/model/Coder.h"
#include "zqm/model/RecordLog.h"
#include "zqm/platform/Process.h"

namespace zqm {

// The store's one lock. Recursive, so that a record's conversion may use the store.
ZQM_EXPORT RecursiveMutex& storeLock();

// Where a record's file is. Its copy's path is empty for none.
struct RecordPlace {
  std::string path;
  std::string copyPath;
};

// `Items` is a SharedList. Every operation stands under the store's lock; the rewriting of a file
// takes it only to put the new file into its place.
template <class Items>
class ListFile {
 public:
  using Record = typename Items::Record;

  // A file may be this much larger than twice its live content; it is rewritten well before.
  static constexpr std::uint64_t kSlack = 64 << 10;
  // So much live content always has room in a file.
  static constexpr std::uint64_t kLargestContent = kLargestFile / 2 - kSlack;

  // The list of a file's content, or none. Later changes are appended to that file, if it can be
  // opened. What the last save left needs no second reading, and no second set of records.
  std::optional<Items> read(const RecordPlace& place, const Bytes& content) {
    if (isInPlace()) return saved_;
    auto read = readLog(content, [](Dictionary fields) {
      return std::make_shared<const Record>(Record::initWithCoder(Coder(std::move(fields))));
    });
    if (!read) return std::nullopt;
    Items items;
    // Moved, so that the list is each element's only owner.
    for (LogElement& each : read->elements) {
      items.append(std::static_pointer_cast<const Record>(std::move(each)));
    }
    if (read->isWhole) {
      const std::uint64_t live = sizeOf(items, 0, items.size());
      RecordPlace kept = place;
      auto log = RecordLog::open(place.path, place.copyPath, *read, content.size());
      if (log) hold(*std::move(log), std::move(kept), items, live);
    }
    return items;
  }

  // Whether there is a file that is as the last save left it.
  bool isInPlace() const { return log_ && log_->isInPlace(); }

  // Appends what changed since the last save.
  bool change(const Items& items) {
    const Splice splice = items.changeFrom(saved_);
    if (splice.removed == 0 && splice.inserted == 0) return true;
    return attempt(items.size(), splice.inserted, [&] { return append(splice, items); });
  }

  // Writes the whole list, in the place of whatever stands there.
  bool replace(const RecordPlace& place, const Items& items) {
    return attempt(items.size(), items.size(), [&] { return writeWhole(place, items); });
  }

  // A save of a list of this size, of which so many records have to be encoded. Where one failed,
  // as on a full disk, the records add up, and to try them at each change would cost the caller
  // ever more: past a few, they are tried now and then, and once the list is shorter.
  template <class Save>
  bool attempt(std::size_t size, std::size_t encoded, const Save& save) {
    constexpr std::size_t kFew = 64;
    constexpr int kShare = 20;
    if (encoded <= kFew) return save();
    const auto begun = std::chrono::steady_clock::now();
    const bool isShorter = size < std::exchange(lastSize_, size);
    if (begun < nextAttempt_ && !isShorter) return false;
    nextAttempt_ = {};
    if (save()) return true;
    const auto now = std::chrono::steady_clock::now();
    nextAttempt_ = now + kShare * (now - begun);
    return false;
  }

  // Waits for a rewriting, where removals came so fast that the file is beyond its bound. For a
  // thread that has time, and holds no lock.
  void waitUntilSmall() {
    const RecursiveMutexLock lock(storeLock());
    while (isRewriting_ && log_->size() > 2 * live_ + kSlack) rewritten_.wait(storeLock());
  }

 private:
  static std::optional<LogEntry> entryFor(const Splice& splice, const Items& items) {
    std::optional<LogEntry> entry(splice);
    items.forEach(splice.index, splice.inserted, [&](const Record& record) {
      if (entry && !entry->add(record)) entry.reset();
    });
    return entry;
  }

  static std::uint64_t sizeOf(const Items& items, std::size_t index, std::size_t count) {
    const auto entry = entryFor({index, 0, count}, items);
    return entry ? entry->contentSize() : 0;
  }

  bool append(const Splice& splice, const Items& items) {
    auto entry = entryFor(splice, items);
    if (!entry) return false;
    // Nothing may throw between the file's change and what is known of it.
    const std::uint64_t removed = sizeOf(saved_, splice.index, splice.removed);
    const std::uint64_t live = live_ + entry->contentSize() - removed;
    if (isRewriting_ && since_.size() == since_.capacity()) since_.reserve(2 * since_.size() + 16);
    if (!log_->append(*entry)) {
      // A file that may not grow any more has room again without what was removed.
      const bool hasWaste = log_->size() > live + live / 2 + kSlack / 2;
      return hasWaste && writeWhole(place_, items);
    }
    live_ = live;
    saved_ = items;
    if (isRewriting_) since_.push_back(*std::move(entry));
    keepSmall();
    return true;
  }

  bool writeWhole(RecordPlace place, const Items& items) {
    auto entry = entryFor({0, 0, items.size()}, items);
    if (!entry) return false;
    const std::uint64_t live = entry->contentSize();
    Files& files = *platform().files;
    const bool isFree = !files.exists(place.path) && !files.exists(place.copyPath);
    auto log =
        isFree ? RecordLog::create(place.path, place.copyPath, *entry) : std::optional<RecordLog>();
    if (!log) {
      // What cannot be seen may still be in the way, such as a link that leads nowhere.
      log = RecordLog::prepare(place.path, place.copyPath, *entry);
      if (!log || !log->takePlace()) return false;
    }
    hold(*std::move(log), std::move(place), items, live);
    return true;
  }

  void hold(RecordLog log, RecordPlace place, const Items& items, std::uint64_t live) noexcept {
    log_ = std::move(log);
    place_ = std::move(place);
    saved_ = items;
    live_ = live;
    // A rewriting under way is of no use any more.
    ++epoch_;
    isRewriting_ = false;
    rewritten_.notifyAll();
    since_.clear();
    nextRewriting_ = 0;
  }

  void keepSmall() {
    const std::uint64_t size = log_->size();
    if (isRewriting_ || size < nextRewriting_ || size <= live_ + live_ / 2 + kSlack / 2) return;
    isRewriting_ = guarded([this] { startRewriting(); }, [](const Exception&) {});
    if (!isRewriting_) nextRewriting_ = size + kSlack / 2;
  }

  void startRewriting() {
    pool_.submit(Process::current().bind(
        std::function<void()>([this, place = place_, items = saved_, epoch = epoch_] {
          std::optional<RecordLog> log;
          const bool isReady =
              guarded([&] { log = rewritten(place, items, epoch); }, [](const Exception&) {});
          const RecursiveMutexLock lock(storeLock());
          if (epoch == epoch_) finishRewriting(isReady ? std::move(log) : std::nullopt);
        })));
  }

  std::optional<RecordLog> rewritten(const RecordPlace& place, const Items& items,
                                     std::uint64_t epoch) {
    auto entry = entryFor({0, 0, items.size()}, items);
    auto log = entry ? RecordLog::prepare(place.path, place.copyPath, *entry) : std::nullopt;
    std::vector<LogEntry> entries;
    {
      const RecursiveMutexLock lock(storeLock());
      if (epoch == epoch_) entries.swap(since_);
    }
    return log && catchUp(*log, entries) && log->sync() ? std::move(log) : std::nullopt;
  }

  // What is appended last is younger than a second, like all that is not synced yet.
  void finishRewriting(std::optional<RecordLog> log) {
    std::vector<LogEntry> entries = std::exchange(since_, {});
    isRewriting_ = false;
    rewritten_.notifyAll();
    const bool isDone = log && catchUp(*log, entries) && log_->isInPlace() && log->takePlace();
    nextRewriting_ = isDone ? 0 : log_->size() + kSlack / 2;
    if (!isDone) return;
    ++epoch_;
    log_ = std::move(log);
  }

  // Repeats what was appended to the old file since the rewriting began.
  static bool catchUp(RecordLog& log, std::vector<LogEntry>& entries) {
    return std::ranges::all_of(entries, [&](LogEntry& each) { return log.append(each); });
  }

  std::optional<RecordLog> log_;
  RecordPlace place_;
  // What the file holds, and how many bytes that takes.
  Items saved_;
  std::uint64_t live_ = 0;
  // Changes with the file.
  std::uint64_t epoch_ = 0;
  bool isRewriting_ = false;
  // When it is over; with the store's lock.
  Condition rewritten_;
  // Appended since the rewriting began.
  std::vector<LogEntry> since_;
  // The size below which none is tried, after one that failed.
  std::uint64_t nextRewriting_ = 0;
  // Of the last save of many records: the length of the list, and until when no other is tried.
  std::size_t lastSize_ = 0;
  std::chrono::steady_clock::time_point nextAttempt_;
  WorkerPool pool_{"zqm-rewrite", 1};
};

}  // namespace zqm
