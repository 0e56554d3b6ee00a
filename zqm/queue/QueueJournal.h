// QueueJournal: the pending items of this process, in memory and in a file of its own.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "zqm/base/Mutex.h"
#include "zqm/platform/Journals.h"
#include "zqm/platform/Process.h"
#include "zqm/queue/JournalForm.h"

namespace zqm {

// The items in memory are authoritative. A change writes one frame to the file, on the caller's
// thread. One thread, which exits when idle, does the rest: syncing within a second, compaction,
// and writing what a full disk refused. See docs/architecture.md for form, ownership and failures.
class QueueJournal {
 public:
  using Item = ZQMQueueItems::Item;

  static QueueJournal& sharedInstance();

  // Takes over the file with the first name if it is valid, not locked and not adopted by another.
  QueueJournal();
  // Writes and syncs what is left, as far as possible, and releases the file.
  ~QueueJournal();
  QueueJournal(const QueueJournal&) = delete;
  QueueJournal& operator=(const QueueJournal&) = delete;

  // Hold it across each of the following functions, so that several calls can be one step.
  Mutex& mutex() ZQM_RETURNS(mutex_) { return mutex_; }

  // From here on the items in memory are authoritative, no longer the file.
  void attach() ZQM_REQUIRES(mutex_);
  bool hasFile() const ZQM_REQUIRES(mutex_) { return file_ != nullptr; }

  const std::deque<JournalItem>& items() const ZQM_REQUIRES(mutex_) { return items_; }
  // Changes with each change of the items.
  std::uint64_t version() const ZQM_REQUIRES(mutex_) { return version_; }
  // The size of the items' bodies, URLs and methods.
  std::size_t bytes() const ZQM_REQUIRES(mutex_) { return bytes_; }
  // The number of items found in files so far.
  std::uint64_t loaded() const ZQM_REQUIRES(mutex_) { return loaded_; }

  // Puts a prioritised item before all others, an ordinary one behind them.
  void add(const Item& item) ZQM_REQUIRES(mutex_);
  // Removes every occurrence of this object and returns their number.
  std::size_t remove(const Item& item) ZQM_REQUIRES(mutex_);
  // Replaces all items. An item may occur twice.
  void replace(const ZQMQueueItems& items) ZQM_REQUIRES(mutex_);
  // Empties the memory. The file is unchanged until the next change, which replaces its items.
  void release() ZQM_REQUIRES(mutex_);

  // Takes over or adopts the files of processes that have ended. Returns the messages to report.
  // Waits for the disk, but not for another process.
  std::vector<std::string> recover() ZQM_EXCLUDES(mutex_);

  // For the store. They use this process's file or, if it has none, the one with the first name.
  bool saveFile(const ZQMQueueItems& items) ZQM_EXCLUDES(mutex_);
  std::optional<ZQMQueueItems> readFile() ZQM_EXCLUDES(mutex_);
  void removeFile() ZQM_EXCLUDES(mutex_);

 private:
  using Clock = std::chrono::steady_clock;
  // A file that no process owns.
  struct Found {
    std::string path;
    std::unique_ptr<JournalFile> file;
    JournalContent content;
  };
  // A file that becomes this process's own.
  struct Draft {
    // Appends frames to the file and clears them.
    bool append(std::string& frames);

    // Adopted items: prioritised ones go before the own items, ordinary ones behind them.
    std::vector<JournalItem> front;
    std::vector<JournalItem> own;
    std::vector<JournalItem> back;
    // The ids of the adopted files.
    std::set<std::uint64_t> adopted;
    // Without locks: the adopted file, which has the only name.
    JournalFile* inPlaceOf = nullptr;

    std::uint64_t id = 0;
    // Own items with a larger key were added later.
    std::uint64_t lastKey = 0;
    std::shared_ptr<JournalFile> file;
    std::uint64_t size = 0;

    // All items, and what the adopted ones add to the journal's sizes.
    std::deque<JournalItem> merged;
    std::uint64_t live = 0;
    std::size_t bytes = 0;
  };

  // QueueJournal.cpp: changes and their frames.
  void resetInChild() ZQM_REQUIRES(mutex_);
  void finishChange(std::string frames) noexcept ZQM_REQUIRES(mutex_);
  void write(const std::string& frames) ZQM_REQUIRES(mutex_);
  void append(const std::string& frames) ZQM_REQUIRES(mutex_);
  void create() ZQM_REQUIRES(mutex_);
  static std::string newFile(std::uint64_t id, std::deque<JournalItem>& items);
  bool takeName(JournalFile& file, const std::string& directory) ZQM_REQUIRES(mutex_);
  void addCopy() ZQM_REQUIRES(mutex_);
  std::string replacementBy(std::deque<JournalItem>& next, std::uint64_t& size)
      ZQM_REQUIRES(mutex_);

  // QueueJournalWork.cpp: the thread, and compaction.
  enum class Task { retry, compact, sync, copy, leave };
  bool isIncomplete() const ZQM_REQUIRES(mutex_);
  bool isLarge() const ZQM_REQUIRES(mutex_);
  void wake(bool isUrgent) ZQM_REQUIRES(mutex_);
  void run();
  Task nextTask() ZQM_EXCLUDES(mutex_);
  std::optional<Task> dueTask(Clock::time_point now) ZQM_REQUIRES(mutex_);
  void retry() ZQM_EXCLUDES(mutex_);
  bool writeMissing() ZQM_REQUIRES(mutex_);
  void sync() ZQM_EXCLUDES(mutex_, compacting_);
  void renewCopy() ZQM_EXCLUDES(mutex_);
  bool compact(Draft draft) ZQM_EXCLUDES(mutex_, compacting_);
  bool compactAlone(Draft& draft) ZQM_REQUIRES(compacting_) ZQM_EXCLUDES(mutex_);
  bool begin(Draft& draft) ZQM_EXCLUDES(mutex_);
  bool appendChanges(Draft& draft) ZQM_EXCLUDES(mutex_);
  bool commit(Draft& draft, const std::string& directory) ZQM_EXCLUDES(mutex_);
  void prepare(Draft& draft) ZQM_REQUIRES(mutex_);
  void install(Draft& draft) noexcept ZQM_REQUIRES(mutex_);

  // QueueJournalRecovery.cpp: the files of processes that have ended.
  void load(const std::string& directory) ZQM_EXCLUDES(recovering_, mutex_, compacting_);
  bool beginRecovery(const std::string& directory, std::shared_ptr<void>& token)
      ZQM_REQUIRES(recovering_) ZQM_EXCLUDES(mutex_);
  JournalContent readHead(const std::string& path) const;
  std::vector<std::string> queueFiles(const std::string& directory);
  std::vector<Found> findFiles(const std::string& directory, std::set<std::uint64_t>& adopted,
                               std::vector<std::string>& reports) ZQM_REQUIRES(recovering_);
  bool takeOver(Found& found, const std::string& directory) ZQM_EXCLUDES(mutex_, compacting_);
  bool adopt(const std::vector<Found*>& found) ZQM_EXCLUDES(mutex_, compacting_);
  bool removeOrQuarantine(const std::vector<Found*>& files, std::vector<std::string>& reports);

  const Platform& platform_ = platform();
  Process& process_ = Process::current();

  // In lock order: held during a recovery, during a compaction or take-over, and during a change.
  Mutex recovering_;
  std::set<std::string> reported_ ZQM_GUARDED_BY(recovering_);
  Mutex compacting_;
  Mutex mutex_;
  std::deque<JournalItem> items_ ZQM_GUARDED_BY(mutex_);
  std::uint64_t version_ ZQM_GUARDED_BY(mutex_) = 0;
  std::size_t bytes_ ZQM_GUARDED_BY(mutex_) = 0;
  std::uint64_t loaded_ ZQM_GUARDED_BY(mutex_) = 0;
  std::uint64_t lastKey_ ZQM_GUARDED_BY(mutex_) = 0;
  // Whether an item may occur twice.
  bool mayRepeat_ ZQM_GUARDED_BY(mutex_) = false;
  bool isAttached_ ZQM_GUARDED_BY(mutex_) = false;
  bool isReleased_ ZQM_GUARDED_BY(mutex_) = false;

  // Null until the process makes or takes over a file.
  std::shared_ptr<JournalFile> file_ ZQM_GUARDED_BY(mutex_);
  std::uint64_t id_ ZQM_GUARDED_BY(mutex_) = 0;
  std::uint64_t size_ ZQM_GUARDED_BY(mutex_) = 0;
  // The size of the current items' frames in it.
  std::uint64_t live_ ZQM_GUARDED_BY(mutex_) = 0;
  // Files whose items it contains and that may still be on the disk.
  std::set<std::uint64_t> adopted_ ZQM_GUARDED_BY(mutex_);
  // Those that could not be removed; kept locked, so that no other process takes them.
  std::vector<std::shared_ptr<JournalFile>> unremoved_ ZQM_GUARDED_BY(mutex_);
  std::atomic<bool> hasLocks_ = true;
  std::uint64_t generation_ ZQM_GUARDED_BY(mutex_) = platform_.journals->generation();

  // The frames that the file lacks. With `mustCompact_` it is to be written anew instead.
  std::string missing_ ZQM_GUARDED_BY(mutex_);
  bool mustCompact_ ZQM_GUARDED_BY(mutex_) = false;
  // During a compaction: the frames since its start. Absent if there is none, or if the frames do
  // not tell all changes, so that the compaction has to fail.
  std::optional<std::string> since_ ZQM_GUARDED_BY(mutex_);

  bool isUnsynced_ ZQM_GUARDED_BY(mutex_) = false;
  bool nameIsUnsynced_ ZQM_GUARDED_BY(mutex_) = false;
  // The copy in the documents: whether it is a second name of the file, and whether it is outdated.
  bool copyIsName_ ZQM_GUARDED_BY(mutex_) = false;
  bool copyIsDue_ ZQM_GUARDED_BY(mutex_) = false;
  std::uint64_t copyVersion_ ZQM_GUARDED_BY(mutex_) = 0;

  Condition changed_;
  bool isRunning_ ZQM_GUARDED_BY(mutex_) = false;
  bool isWaiting_ ZQM_GUARDED_BY(mutex_) = false;
  bool isClosing_ ZQM_GUARDED_BY(mutex_) = false;
  bool hasTriedLast_ ZQM_GUARDED_BY(mutex_) = false;
  // When the thread may sync, write the copy and retry; and the last pause before a retry.
  std::optional<Clock::time_point> syncAt_ ZQM_GUARDED_BY(mutex_);
  Clock::time_point copyAt_ ZQM_GUARDED_BY(mutex_);
  Clock::time_point retryAt_ ZQM_GUARDED_BY(mutex_);
  std::chrono::seconds pause_ ZQM_GUARDED_BY(mutex_){0};
};

// The size of an item's body, URL and method.
std::size_t bytesOf(const ZQMQueueDataModel& item);

// The first name of a queue's file in a directory, which is the group container.
std::string firstQueueFile(const std::string& directory);
bool isQueueFileName(std::string_view name);

}  // namespace zqm
