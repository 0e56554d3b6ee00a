// Work that no caller waits for: syncing, retrying, compaction, the copy.
#include <algorithm>

#include "zqm/base/Exception.h"
#include "zqm/base/System.h"
#include "zqm/model/Frame.h"
#include "zqm/queue/QueueDraft.h"

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
  if (!file_->cut(size_)) {
    mustCompact_ = true;
    return false;
  }
  switch (file_->append(missing_)) {
    case JournalFile::Append::done:
      size_ += missing_.size();
      missing_ = {};
      isUnsynced_ = true;
      return true;
    case JournalFile::Append::failed:
      return false;
    case JournalFile::Append::lost:
      mustCompact_ = true;
      return false;
  }
  return false;
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
  const auto directory = withName ? queueDirectory() : std::nullopt;
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
  std::vector<JournalItem> items;
  {
    const MutexLock lock(mutex_);
    copyIsDue_ = false;
    if (!documents) return;
    copyIsName_ = file_ && file_->addName(firstQueueFile(*documents));
    if (copyIsName_ || isReleased_) return;
    items.assign(items_.begin(), items_.end());
  }
  const std::uint64_t id = makeFileId();
  std::string frames;
  putBegin(frames, id, {});
  for (JournalItem& each : items) putItem(frames, id, End::tail, each);
  platform_.files->writeAtomically(firstQueueFile(*documents), toBytes(frames));
}

bool QueueJournal::compact(Draft draft) {
  const MutexLock one(compacting_);
  bool isDone = false;
  guarded([&] {
    compacting_.assumeHeld();
    isDone = compactAlone(draft);
  });
  const MutexLock lock(mutex_);
  isRecording_ = false;
  since_ = {};
  return isDone;
}

// What was on the disk stays there at every moment: the new file is synced before it takes the old
// one's name, and nothing syncs the old one meanwhile.
bool QueueJournal::compactAlone(Draft& draft) {
  const auto directory = queueDirectory();
  if (!directory || !begin(draft)) return false;
  std::string piece;
  const auto put = [&](bool isLast) {
    if (!isLast && piece.size() < kPiece) return true;
    if (draft.file->append(piece) != JournalFile::Append::done) return false;
    draft.size += piece.size();
    piece.clear();
    return true;
  };
  draft.file = platform_.journals->create(*directory, hasLocks_);
  if (!draft.file) return false;
  putBegin(piece, draft.id, draft.adopted);
  for (auto* const items : {&draft.front, &draft.own, &draft.back}) {
    for (JournalItem& each : *items) {
      putItem(piece, draft.id, End::tail, each);
      if (!put(false)) return false;
    }
  }
  if (!put(true) || !draft.file->sync() || !catchUp(draft)) return false;
  if (!swapIn(draft, *directory)) return false;
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
  since_.clear();
  isRecording_ = true;
  lostRecord_ = false;
  return true;
}

bool QueueJournal::catchUp(Draft& draft) {
  std::string frames;
  {
    const MutexLock lock(mutex_);
    frames.swap(since_);
  }
  if (frames.empty()) return true;
  setFrameIds(frames, draft.id);
  if (draft.file->append(frames) != JournalFile::Append::done) return false;
  draft.size += frames.size();
  return draft.file->sync();
}

// Writes the last changes, renames the file and changes the memory in one step. These changes are
// not synced in the old file either.
bool QueueJournal::swapIn(Draft& draft, const std::string& directory) {
  const MutexLock lock(mutex_);
  if (lostRecord_ || isReleased_) return false;
  setFrameIds(since_, draft.id);
  if (!since_.empty() && draft.file->append(since_) != JournalFile::Append::done) return false;
  draft.size += since_.size();
  unremoved_.reserve(unremoved_.size() + 1);
  // Nothing may throw once the file has its name. Later items stay outside the adopted ones, as in
  // the file.
  std::deque<JournalItem> next = items_;
  const auto isNew = [&](const JournalItem& each, bool priority) {
    return each.key > draft.lastKey && each.item->priority == priority;
  };
  const auto front = std::ranges::find_if(next, [&](auto& each) { return !isNew(each, true); });
  next.insert(front, draft.front.begin(), draft.front.end());
  const auto back = std::find_if(next.rbegin(), next.rend(),
                                 [&](const auto& each) { return !isNew(each, false); });
  next.insert(back.base(), draft.back.begin(), draft.back.end());
  std::uint64_t live = live_;
  std::size_t bytes = bytes_;
  for (const auto* const adopted : {&draft.front, &draft.back}) {
    for (const JournalItem& each : *adopted) {
      live += each.size;
      bytes += bytesOf(*each.item);
    }
  }
  JournalFile* const old = file_ || hasLocks_ ? file_.get() : draft.inPlaceOf;
  const bool isInPlace = old && draft.file->replace(*old);
  if (!isInPlace && !takeName(*draft.file, directory)) return false;
  items_.swap(next);
  loaded_ += draft.front.size() + draft.back.size();
  if (!draft.front.empty() || !draft.back.empty()) ++version_;
  file_.swap(draft.file);
  if (isInPlace) draft.file.reset();
  id_ = draft.id;
  size_ = draft.size;
  live_ = live;
  bytes_ = bytes;
  adopted_.swap(draft.adopted);
  missing_ = {};
  mustCompact_ = copyIsName_ = false;
  isUnsynced_ = copyIsDue_ = true;
  return true;
}

}  // namespace zqm
