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

// The memory is the truth. A change writes one frame to the file, on the caller's thread; all else
// (syncing within a second, compaction, and writing what a full disk refused) is done by one thread
// that leaves when there is nothing to do. docs/architecture.md tells form, ownership and failures.
class QueueJournal {
 public:
  using Item = ZQMQueueItems::Item;

  static QueueJournal& sharedInstance();

  // Takes over the file with the first name in the container, if nobody holds it and it is sound.
  QueueJournal();
  // Brings what is left to the disk, as far as that works, and lets go of the file.
  ~QueueJournal();
  QueueJournal(const QueueJournal&) = delete;
  QueueJournal& operator=(const QueueJournal&) = delete;

  // Held over each of the following, so that several can be one step.
  Mutex& mutex() ZQM_RETURNS(mutex_) { return mutex_; }

  // From here on the items are the truth, and no longer what the file holds.
  void attach() ZQM_REQUIRES(mutex_);
  bool hasFile() const ZQM_REQUIRES(mutex_) { return file_ != nullptr; }

  const std::deque<JournalItem>& items() const ZQM_REQUIRES(mutex_) { return items_; }
  // Another number after each change.
  std::uint64_t version() const ZQM_REQUIRES(mutex_) { return version_; }
  // Of the items' bodies, urls and methods.
  std::size_t bytes() const ZQM_REQUIRES(mutex_) { return bytes_; }
  // How many items were found in files so far.
  std::uint64_t loaded() const ZQM_REQUIRES(mutex_) { return loaded_; }

  // A prioritised item before all others, another one behind them.
  void add(const Item& item) ZQM_REQUIRES(mutex_);
  // How many occurrences of this very object were there.
  std::size_t remove(const Item& item) ZQM_REQUIRES(mutex_);
  // These items and no others; one may stand there twice.
  void replace(const std::vector<Item>& items) ZQM_REQUIRES(mutex_);
  // Empties the memory. Nothing touches the file until the next change, which replaces its items.
  void release() ZQM_REQUIRES(mutex_);

  // Takes over or adopts what other processes have left in the container. Answers what is to be
  // reported. Waits for the disk, not for another process.
  std::vector<std::string> look() ZQM_EXCLUDES(mutex_);

  // For the store: the file of this process or, where it has none, the one with the first name.
  bool saveFile(const std::vector<Item>& items) ZQM_EXCLUDES(mutex_);
  std::optional<std::vector<Item>> readFile() ZQM_EXCLUDES(mutex_);
  void removeFile() ZQM_EXCLUDES(mutex_);

 private:
  using Clock = std::chrono::steady_clock;
  struct Found;
  struct Draft;

  // QueueJournal.cpp: the changes, and their frames.
  void hold(std::unique_ptr<JournalFile> file, JournalContent content) ZQM_REQUIRES(mutex_);
  void startAnewInChild() ZQM_REQUIRES(mutex_);
  void finishChange(std::string frames) noexcept ZQM_REQUIRES(mutex_);
  void write(const std::string& frames) ZQM_REQUIRES(mutex_);
  void append(const std::string& frames) ZQM_REQUIRES(mutex_);
  void create() ZQM_REQUIRES(mutex_);
  bool createIn(const std::string& directory) ZQM_REQUIRES(mutex_);
  bool takeName(JournalFile& file, const std::string& directory) ZQM_REQUIRES(mutex_);
  void addCopy() ZQM_REQUIRES(mutex_);
  std::string replacementBy(std::deque<JournalItem>& next, std::uint64_t& size)
      ZQM_REQUIRES(mutex_);

  // QueueJournalWork.cpp: the thread, and writing the file anew.
  enum class Task { retry, compact, sync, copy, leave };
  bool isIncomplete() const ZQM_REQUIRES(mutex_);
  bool isLarge() const ZQM_REQUIRES(mutex_);
  void wake(bool isUrgent) ZQM_REQUIRES(mutex_);
  void run();
  Task nextTask() ZQM_EXCLUDES(mutex_);
  std::optional<Task> dueTask(Clock::time_point now) ZQM_REQUIRES(mutex_);
  void retry() ZQM_EXCLUDES(mutex_);
  bool writeMissing() ZQM_REQUIRES(mutex_);
  void sync() ZQM_EXCLUDES(mutex_, rewriting_);
  void renewCopy() ZQM_EXCLUDES(mutex_);
  bool rewrite(Draft draft) ZQM_EXCLUDES(mutex_, rewriting_);
  bool rewriteAlone(Draft& draft) ZQM_REQUIRES(rewriting_) ZQM_EXCLUDES(mutex_);
  bool begin(Draft& draft) ZQM_EXCLUDES(mutex_);
  bool catchUp(Draft& draft) ZQM_EXCLUDES(mutex_);
  bool swapIn(Draft& draft, const std::string& directory) ZQM_EXCLUDES(mutex_);

  // QueueJournalLook.cpp: what other processes left.
  void load(const std::string& directory) ZQM_EXCLUDES(looking_, mutex_, rewriting_);
  bool takeTurn(const std::string& directory, std::shared_ptr<void>& token) ZQM_REQUIRES(looking_)
      ZQM_EXCLUDES(mutex_);
  std::vector<std::string> queueFiles(const std::string& directory);
  std::vector<Found> findFiles(const std::string& directory, std::set<std::uint64_t>& adopted,
                               std::vector<std::string>& reports) ZQM_REQUIRES(looking_);
  bool takeOver(Found& found, const std::string& directory) ZQM_EXCLUDES(mutex_, rewriting_);
  bool adopt(const std::vector<Found*>& found) ZQM_EXCLUDES(mutex_, rewriting_);
  bool putAway(const std::vector<Found*>& files, std::vector<std::string>& reports);

  const Platform& platform_ = platform();
  Process& process_ = Process::current();

  // In this order: held over a look, while the file is written anew or taken over, and over a
  // change.
  Mutex looking_;
  std::set<std::string> reported_ ZQM_GUARDED_BY(looking_);
  Mutex rewriting_;
  Mutex mutex_;
  std::deque<JournalItem> items_ ZQM_GUARDED_BY(mutex_);
  std::uint64_t version_ ZQM_GUARDED_BY(mutex_) = 0;
  std::size_t bytes_ ZQM_GUARDED_BY(mutex_) = 0;
  std::uint64_t loaded_ ZQM_GUARDED_BY(mutex_) = 0;
  std::uint64_t lastKey_ ZQM_GUARDED_BY(mutex_) = 0;
  // Whether an item may stand there twice.
  bool mayRepeat_ ZQM_GUARDED_BY(mutex_) = false;
  bool isAttached_ ZQM_GUARDED_BY(mutex_) = false;
  bool isReleased_ ZQM_GUARDED_BY(mutex_) = false;

  // Null until the first change.
  std::shared_ptr<JournalFile> file_ ZQM_GUARDED_BY(mutex_);
  std::uint64_t id_ ZQM_GUARDED_BY(mutex_) = 0;
  std::uint64_t size_ ZQM_GUARDED_BY(mutex_) = 0;
  // What the items' frames take of it.
  std::uint64_t live_ ZQM_GUARDED_BY(mutex_) = 0;
  // Files whose items it holds and that may still be on the disk.
  std::set<std::uint64_t> adopted_ ZQM_GUARDED_BY(mutex_);
  // Of these, those that could not be removed: nobody else may take them.
  std::vector<std::shared_ptr<JournalFile>> unremoved_ ZQM_GUARDED_BY(mutex_);
  std::atomic<bool> hasLocks_ = true;
  std::uint64_t generation_ ZQM_GUARDED_BY(mutex_);

  // What is not in the file: frames, or all items where it has to be written anew.
  std::string missing_ ZQM_GUARDED_BY(mutex_);
  bool mustRewrite_ ZQM_GUARDED_BY(mutex_) = false;
  // While the file is written anew: the frames since that began, unless that could not be kept.
  bool isRecording_ ZQM_GUARDED_BY(mutex_) = false;
  bool lostRecord_ ZQM_GUARDED_BY(mutex_) = false;
  std::string since_ ZQM_GUARDED_BY(mutex_);

  bool isUnsynced_ ZQM_GUARDED_BY(mutex_) = false;
  bool nameIsUnsynced_ ZQM_GUARDED_BY(mutex_) = false;
  // The copy in the documents: whether it is a second name of the file, and whether it is behind.
  bool copyIsName_ ZQM_GUARDED_BY(mutex_) = false;
  bool copyIsDue_ ZQM_GUARDED_BY(mutex_) = false;
  std::uint64_t copyVersion_ ZQM_GUARDED_BY(mutex_) = 0;

  Condition changed_;
  bool isRunning_ ZQM_GUARDED_BY(mutex_) = false;
  bool isWaiting_ ZQM_GUARDED_BY(mutex_) = false;
  bool isClosing_ ZQM_GUARDED_BY(mutex_) = false;
  bool hasTriedLast_ ZQM_GUARDED_BY(mutex_) = false;
  // When the thread may sync, write the copy, and try again what failed; and how long it then
  // waited.
  std::optional<Clock::time_point> syncAt_ ZQM_GUARDED_BY(mutex_);
  Clock::time_point copyAt_ ZQM_GUARDED_BY(mutex_);
  Clock::time_point retryAt_ ZQM_GUARDED_BY(mutex_);
  std::chrono::seconds pause_ ZQM_GUARDED_BY(mutex_){0};
};

// Of an item's body, url and method.
std::size_t bytesOf(const ZQMQueueDataModel& item);

// Where the queue's files are, and the first of their names; none without a container.
std::optional<std::string> queueDirectory();
std::string firstQueueFile(const std::string& directory);
bool isQueueFileName(std::string_view name);

}  // namespace zqm
