// Work that no caller waits for: syncing, retrying, compaction, the copy.
#include <algorithm>

#include "zqm/base/Exception.h"
#include "zqm/base/System.h"
#include "zqm/core/settings/Resources.h"
#include "zqm/model/Frame.h"
#include "zqm/queue/QueueJournal.h"

namespace zqm {
namespace {

// Changes in quick succession are synced together.
constexpr std::chrono::milliseconds kSyncDelay{400};
// The time without changes before the copy is written, if it is a separate file.
constexpr std::chrono::seconds kCopyDelay{1};
constexpr std::chrono::seconds kIdleTime{5};
constexpr std::chrono::seconds kLongestPause{8};
// A file may exceed one and a half times its live content by this much.
constexpr std::uint64_t kSlack = 32 << 10;
// A new file is written in pieces of this size.
constexpr std::size_t kPiece = 1 << 20;

}  // namespace

bool QueueJournal::isIncomplete() const {
  return !isReleased_ && (mustCompact_ || !missing_.empty());
}

bool QueueJournal::isLarge() const {
  return !isReleased_ && file_ && size_ > live_ + live_ / 2 + kSlack;
}

// Notifying is a system call: only if the thread waits for a change, or if work is urgent.
void QueueJournal::wake(bool isUrgent) {
  if (isRunning_) {
    if (isWaiting_ || isUrgent) changed_.notifyAll();
    return;
  }
  isRunning_ = startThread("zqm-queue", [this] {
    const Process::Scope scope(process_);
    run();
  });
}

void QueueJournal::run() {
  for (;;) {
    const Task task = nextTask();
    if (task == Task::leave) return;
    guarded([&] {
      if (task == Task::retry || task == Task::compact) retry();
      if (task == Task::sync) sync();
      if (task == Task::copy) renewCopy();
    });
  }
}

QueueJournal::Task QueueJournal::nextTask() {
  const MutexLock lock(mutex_);
  const Clock::time_point idleUntil = Clock::now() + kIdleTime;
  for (;;) {
    const Clock::time_point now = Clock::now();
    if (isUnsynced_ && !syncAt_) syncAt_ = now + kSyncDelay;
    if (std::exchange(copyVersion_, version_) != version_) copyAt_ = now + kCopyDelay;
    if (const auto task = dueTask(now)) return *task;
    const bool isBusy = isUnsynced_ || copyIsDue_ || isIncomplete() || isLarge();
    if (isClosing_ || (!isBusy && now >= idleUntil)) break;
    Clock::time_point next = isBusy ? now + kLongestPause : idleUntil;
    if (isIncomplete() || isLarge()) next = std::min(next, std::max(retryAt_, now));
    if (syncAt_) next = std::min(next, *syncAt_);
    if (copyIsDue_) next = std::min(next, std::max(copyAt_, now));
    // A change wakes the thread unless a sync is scheduled: it has to be synced within a second.
    isWaiting_ = !syncAt_;
    changed_.waitFor(mutex_, next - now);
    isWaiting_ = false;
  }
  isRunning_ = false;
  changed_.notifyAll();
  return Task::leave;
}

std::optional<QueueJournal::Task> QueueJournal::dueTask(Clock::time_point now) {
  // At the end one more attempt is made, and no further one.
  const bool mayRetry = isClosing_ ? !hasTriedLast_ : now >= retryAt_;
  if (isIncomplete() && mayRetry) return Task::retry;
  // At the end, too: otherwise a chain of short-lived processes would let the file grow for ever.
  if (isLarge() && mayRetry) return Task::compact;
  if (syncAt_ && (isClosing_ || now >= *syncAt_)) return Task::sync;
  if (copyIsDue_ && (isClosing_ || now >= copyAt_)) return Task::copy;
  return std::nullopt;
}

void QueueJournal::retry() {
  bool isDone = false;
  bool isWhole = false;
  bool isLast = false;
  {
    const MutexLock lock(mutex_);
    // An attempt that began before the end is not the last one.
    isLast = isClosing_;
    if (!mustCompact_ && !missing_.empty()) isDone = writeMissing();
    // Also if the file turned out to be lost.
    isWhole = !isDone && (mustCompact_ || missing_.empty());
  }
  if (isWhole) isDone = compact({});
  const MutexLock lock(mutex_);
  if (isDone) {
    pause_ = std::chrono::seconds(0);
    retryAt_ = {};
    return;
  }
  hasTriedLast_ = isLast;
  pause_ = std::clamp(2 * pause_, std::chrono::seconds(1), kLongestPause);
  retryAt_ = Clock::now() + pause_;
}

// Appends to the file, after cutting off the rest of what failed: there may be room for this but
// not for a second file.
bool QueueJournal::writeMissing() {
  mustCompact_ = !file_->cut(size_);
  if (!mustCompact_) append(missing_);
  const bool isDone = !isIncomplete();
  isUnsynced_ |= isDone;
  return isDone;
}

// Not during a compaction: the new file would lack what is synced here.
void QueueJournal::sync() {
  const MutexLock one(compacting_);
  std::shared_ptr<JournalFile> file;
  bool withName = false;
  {
    const MutexLock lock(mutex_);
    syncAt_.reset();
    isUnsynced_ = false;
    file = file_;
    withName = std::exchange(nameIsUnsynced_, false);
  }
  const auto directory = withName ? groupContainer() : std::nullopt;
  const bool hasName = !directory || platform_.journals->sync(*directory);
  const bool isSynced = !file || file->sync();
  if (hasName && isSynced) return;
  const MutexLock lock(mutex_);
  nameIsUnsynced_ |= !hasName;
  if (isSynced) return;
  // The system drops data that it could not write to the disk.
  if (file == file_ && !isReleased_) mustCompact_ = true;
}

// Written whole, not with each change: nothing reads it, and that would double the cost.
void QueueJournal::renewCopy() {
  const auto documents = platform_.directories->documents();
  std::deque<JournalItem> items;
  {
    const MutexLock lock(mutex_);
    copyIsDue_ = false;
    if (!documents) return;
    if (file_) addCopy();
    if (copyIsName_ || isReleased_) return;
    items = items_;
  }
  const std::string content = newFile(makeFileId(), items);
  platform_.files->writeAtomically(firstQueueFile(*documents), toBytes(content));
}

bool QueueJournal::compact(Draft draft) {
  const MutexLock one(compacting_);
  bool isDone = false;
  guarded([&] {
    compacting_.assumeHeld();
    isDone = compactAlone(draft);
  });
  const MutexLock lock(mutex_);
  since_.reset();
  return isDone;
}

bool QueueJournal::Draft::append(std::string& frames) {
  if (file->append(frames) != JournalFile::Append::done) return false;
  size += frames.size();
  frames.clear();
  return true;
}

// What was on the disk stays there at every moment: the new file is synced before it takes the old
// one's name, and nothing syncs the old one meanwhile.
bool QueueJournal::compactAlone(Draft& draft) {
  const auto directory = groupContainer();
  if (!directory || !begin(draft)) return false;
  draft.file = platform_.journals->create(*directory, hasLocks_);
  if (!draft.file) return false;
  std::string piece;
  putBegin(piece, draft.id, draft.adopted);
  for (auto* const items : {&draft.front, &draft.own, &draft.back}) {
    for (JournalItem& each : *items) {
      putItem(piece, draft.id, End::tail, each);
      if (piece.size() >= kPiece && !draft.append(piece)) return false;
    }
  }
  if (!draft.append(piece) || !draft.file->sync()) return false;
  if (!appendChanges(draft) || !commit(draft, *directory)) return false;
  const bool isSafe = platform_.journals->sync(*directory);
  const MutexLock lock(mutex_);
  // If the old file still belongs to this process, no other process may take its items.
  if (draft.file && !(isSafe && draft.file->removeName())) {
    unremoved_.push_back(std::move(draft.file));
  }
  addCopy();
  return true;
}

// From here on changes are recorded.
bool QueueJournal::begin(Draft& draft) {
  const MutexLock lock(mutex_);
  resetInChild();
  if (isReleased_) return false;
  draft.id = makeFileId();
  draft.own.assign(items_.begin(), items_.end());
  for (auto* const adopted : {&draft.front, &draft.back}) {
    for (JournalItem& each : *adopted) each.key = ++lastKey_;
  }
  draft.lastKey = lastKey_;
  draft.adopted.insert(adopted_.begin(), adopted_.end());
  since_.emplace();
  return true;
}

// Appends and syncs the changes made so far, so that few are left for the step that follows.
bool QueueJournal::appendChanges(Draft& draft) {
  std::string frames;
  {
    const MutexLock lock(mutex_);
    if (!since_) return false;
    frames.swap(*since_);
  }
  if (frames.empty()) return true;
  setFrameIds(frames, draft.id);
  return draft.append(frames) && draft.file->sync();
}

// Writes the last changes, renames the file and changes the memory in one step. These changes are
// not synced in the old file either.
bool QueueJournal::commit(Draft& draft, const std::string& directory) {
  const MutexLock lock(mutex_);
  if (!since_ || isReleased_) return false;
  setFrameIds(*since_, draft.id);
  if (!since_->empty() && !draft.append(*since_)) return false;
  unremoved_.reserve(unremoved_.size() + 1);
  // Nothing may throw once the file has its name.
  prepare(draft);
  JournalFile* const old = file_ || hasLocks_ ? file_.get() : draft.inPlaceOf;
  const bool isInPlace = old && draft.file->replace(*old);
  if (!isInPlace && !takeName(*draft.file, directory)) return false;
  install(draft);
  if (isInPlace) draft.file.reset();
  missing_ = {};
  mustCompact_ = copyIsName_ = false;
  isUnsynced_ = copyIsDue_ = true;
  return true;
}

// Merges the adopted items with this process's. Later ones stay outside them, as in the file.
void QueueJournal::prepare(Draft& draft) {
  const auto isNew = [&](const JournalItem& each, bool priority) {
    return each.key > draft.lastKey && each.item->priority == priority;
  };
  draft.merged = items_;
  auto& merged = draft.merged;
  const auto front = std::ranges::find_if(merged, [&](auto& each) { return !isNew(each, true); });
  merged.insert(front, draft.front.begin(), draft.front.end());
  const auto back = std::find_if(merged.rbegin(), merged.rend(),
                                 [&](const auto& each) { return !isNew(each, false); });
  merged.insert(back.base(), draft.back.begin(), draft.back.end());
  for (const auto* const adopted : {&draft.front, &draft.back}) {
    for (const JournalItem& each : *adopted) {
      draft.live += each.size;
      draft.bytes += bytesOf(*each.item);
    }
  }
}

// Exchanges the file and the items for those of the draft, which then has the earlier ones.
void QueueJournal::install(Draft& draft) noexcept {
  const std::size_t adopted = draft.front.size() + draft.back.size();
  items_.swap(draft.merged);
  loaded_ += adopted;
  if (adopted > 0) ++version_;
  live_ += draft.live;
  bytes_ += draft.bytes;
  file_.swap(draft.file);
  id_ = draft.id;
  size_ = draft.size;
  adopted_.swap(draft.adopted);
}

}  // namespace zqm
