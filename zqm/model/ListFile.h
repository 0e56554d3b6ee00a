// ListFile: the list that a record class stores, and its file as it grows and is rewritten.
#pragma once

#include <algorithm>
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

// `Items` is a SharedList. Every operation stands under the store's lock; the rewriting of a file
// takes it only to put the new file into its place.
template <class Items>
class ListFile {
 public:
  using Record = typename Items::Record;

  // The list of a file's content, or none. Later changes are appended to that file, if it can be
  // opened. What the last save left needs no second reading, and no second set of records.
  std::optional<Items> read(const std::string& path, const std::string& copyPath,
                            const Bytes& content) {
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
      hold(RecordLog::open(path, copyPath, *read, content.size()), path, copyPath, items);
    }
    return items;
  }

  // Whether there is a file that is as the last save left it.
  bool isInPlace() const { return log_ && log_->isInPlace(); }

  // Appends what changed since the last save.
  bool change(const Items& items) {
    const Splice splice = items.changeFrom(saved_);
    if (splice.removed == 0 && splice.inserted == 0) return true;
    auto entry = entryFor(splice, items);
    if (!entry) return false;
    // Nothing may throw between the file's change and what is known of it.
    const std::uint64_t removed = sizeOf(saved_, splice.index, splice.removed);
    const std::uint64_t live = live_ + entry->contentSize() - removed;
    if (isRewriting_) since_.reserve(since_.size() + 1);
    if (!log_->append(*entry)) {
      // A file that may not grow any more has room again without what was removed.
      const bool hasWaste = log_->size() > live + live / 2 + kSlack / 2;
      return hasWaste && replace(path_, copyPath_, items);
    }
    live_ = live;
    saved_ = items;
    if (isRewriting_) since_.push_back(*std::move(entry));
    keepSmall();
    return true;
  }

  // Writes the whole list, in the place of whatever stands there.
  bool replace(const std::string& path, const std::string& copyPath, const Items& items) {
    auto entry = entryFor({0, 0, items.size()}, items);
    if (!entry) return false;
    Files& files = *platform().files;
    if (!files.exists(path) && (copyPath.empty() || !files.exists(copyPath))) {
      return hold(RecordLog::create(path, copyPath, *entry), path, copyPath, items);
    }
    auto log = RecordLog::prepare(path, copyPath, *entry);
    return log && log->takePlace() && hold(std::move(log), path, copyPath, items);
  }

 private:
  // A file may be this much larger than twice its live content; it is rewritten well before.
  static constexpr std::uint64_t kSlack = 64 << 10;

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

  bool hold(std::optional<RecordLog> log, const std::string& path, const std::string& copyPath,
            const Items& items) {
    if (!log) return false;
    const std::uint64_t live = sizeOf(items, 0, items.size());
    path_ = path;
    copyPath_ = copyPath;
    log_ = std::move(log);
    saved_ = items;
    live_ = live;
    // A rewriting under way is of no use any more.
    ++epoch_;
    isRewriting_ = false;
    since_.clear();
    nextRewriting_ = 0;
    return true;
  }

  void keepSmall() {
    const std::uint64_t size = log_->size();
    if (size < nextRewriting_ || size <= live_ + live_ / 2 + kSlack / 2) return;
    if (size > 2 * live_ + kSlack) {
      // Removals came faster than the rewriting. They are not the host's, and may wait.
      if (!replace(path_, copyPath_, saved_)) nextRewriting_ = size + kSlack / 2;
    } else if (!isRewriting_) {
      isRewriting_ = guarded([this] { startRewriting(); }, [](const Exception&) {});
      if (!isRewriting_) nextRewriting_ = size + kSlack / 2;
    }
  }

  void startRewriting() {
    pool_.submit(Process::current().bind(std::function<void()>(
        [this, path = path_, copyPath = copyPath_, items = saved_, epoch = epoch_] {
          std::optional<RecordLog> log;
          const bool isReady = guarded([&] { log = rewritten(path, copyPath, items, epoch); },
                                       [](const Exception&) {});
          const RecursiveMutexLock lock(storeLock());
          if (epoch == epoch_) finishRewriting(isReady ? std::move(log) : std::nullopt);
        })));
  }

  std::optional<RecordLog> rewritten(const std::string& path, const std::string& copyPath,
                                     const Items& items, std::uint64_t epoch) {
    auto entry = entryFor({0, 0, items.size()}, items);
    auto log = entry ? RecordLog::prepare(path, copyPath, *entry) : std::nullopt;
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
  std::string path_;
  std::string copyPath_;
  // What the file holds, and how many bytes that takes.
  Items saved_;
  std::uint64_t live_ = 0;
  // Changes with the file.
  std::uint64_t epoch_ = 0;
  bool isRewriting_ = false;
  // Appended since the rewriting began.
  std::vector<LogEntry> since_;
  // The size below which none is tried, after one that failed.
  std::uint64_t nextRewriting_ = 0;
  WorkerPool pool_{"zqm-rewrite", 1};
};

}  // namespace zqm
