// Changes of the queue, in memory and as frames of the file.
#include "zqm/queue/QueueJournal.h"

#include <algorithm>
#include <cstdio>
#include <unordered_set>

#include "zqm/base/Exception.h"
#include "zqm/core/settings/Resources.h"
#include "zqm/model/Frame.h"
#include "zqm/util/Cbor.h"

namespace zqm {
namespace {

PerProcess<QueueJournal> shared;

// The class of the record in these files.
constexpr std::string_view kClassName = "ZQMQueueModel";
constexpr std::string_view kSuffix = ".plist";

std::size_t sizeOf(const Text& text) { return text.text() ? text.text()->size() : 0; }

}  // namespace

std::size_t bytesOf(const ZQMQueueDataModel& item) {
  std::size_t body = item.data.bytes() ? item.data.bytes()->size() : 0;
  if (!item.data.bytes() && item.data.isPresent()) {
    std::string encoded;
    putCbor(encoded, item.data);
    body = encoded.size();
  }
  return body + sizeOf(item.url) + sizeOf(item.method);
}

std::string firstQueueFile(const std::string& directory) {
  return directory + "/" + std::string(kClassName).append(kSuffix);
}

bool isQueueFileName(std::string_view name) {
  if (!name.starts_with(kClassName) || !name.ends_with(kSuffix)) return false;
  name.remove_prefix(kClassName.size());
  return name == kSuffix || name.starts_with('-');
}

QueueJournal& QueueJournal::sharedInstance() { return *shared; }

QueueJournal::QueueJournal() {
  guarded([this] {
    if (const auto directory = groupContainer()) load(*directory);
  });
}

QueueJournal::~QueueJournal() {
  const MutexLock lock(mutex_);
  isClosing_ = true;
  changed_.notifyAll();
  // A forked child does not have the thread.
  const bool isParent = generation_ == platform_.journals->generation();
  const bool hasWork = isIncomplete() || isUnsynced_ || copyIsDue_;
  if (isParent && hasWork && !isRunning_) {
    guarded([&] {
      mutex_.assumeHeld();
      wake(true);
    });
  }
  while (isParent && isRunning_) changed_.wait(mutex_);
}

void QueueJournal::attach() {
  isAttached_ = true;
  loaded_ = items_.size();
}

// The parent delivers its own items, and its file is not the child's.
void QueueJournal::resetInChild() {
  const std::uint64_t generation = platform_.journals->generation();
  if (generation == generation_) return;
  generation_ = generation;
  items_.clear();
  bytes_ = live_ = size_ = 0;
  ++version_;
  file_.reset();
  adopted_.clear();
  unremoved_.clear();
  missing_.clear();
  since_.reset();
  mayRepeat_ = isReleased_ = mustCompact_ = isRunning_ = isWaiting_ = false;
  copyIsName_ = copyIsDue_ = isUnsynced_ = nameIsUnsynced_ = false;
  syncAt_.reset();
}

void QueueJournal::add(const Item& item) {
  resetInChild();
  JournalItem made{item, lastKey_ + 1, 0};
  const std::size_t bytes = bytesOf(*item);
  std::string frames;
  // The frame, the names and the identity take less than this: it is allocated once.
  frames.reserve(bytes + 256);
  const End end = item->priority ? End::head : End::tail;
  putItem(frames, id_, end, made);
  end == End::head ? items_.push_front(made) : items_.push_back(made);
  ++lastKey_;
  live_ += made.size;
  bytes_ += bytes;
  finishChange(std::move(frames));
}

std::size_t QueueJournal::remove(const Item& item) {
  resetInChild();
  const auto isMeant = [&](const JournalItem& each) { return each.item == item; };
  std::vector<std::uint64_t> keys;
  std::uint64_t size = 0;
  const auto first = std::ranges::find_if(items_, isMeant);
  for (auto at = first; at != items_.end(); at = std::find_if(at + 1, items_.end(), isMeant)) {
    keys.push_back(at->key);
    size += at->size;
    if (!mayRepeat_) break;
  }
  std::string frames;
  if (!keys.empty()) {
    putRemoval(frames, id_, keys);
    const std::size_t bytes = bytesOf(*item);
    live_ -= size;
    bytes_ -= keys.size() * bytes;
    if (keys.size() == 1) items_.erase(first);
    if (keys.size() > 1) std::erase_if(items_, isMeant);
  }
  finishChange(std::move(frames));
  return keys.size();
}

void QueueJournal::replace(const ZQMQueueItems& items) {
  resetInChild();
  std::deque<JournalItem> next;
  std::unordered_set<const void*> seen;
  std::size_t bytes = 0;
  for (const Item& each : items) {
    next.push_back({each, lastKey_ + 1 + next.size(), 0});
    seen.insert(each.get());
    bytes += bytesOf(*each);
  }
  mayRepeat_ = seen.size() < next.size();
  lastKey_ += next.size();
  bytes_ = bytes;
  items_.swap(next);
  isReleased_ = true;
  finishChange({});
}

void QueueJournal::release() {
  resetInChild();
  items_.clear();
  live_ = bytes_ = 0;
  ++version_;
  missing_.clear();
  mustCompact_ = false;
  isReleased_ = true;
}

// The memory has already changed, so nothing may fail here: what cannot be written now is written
// later.
void QueueJournal::finishChange(std::string frames) noexcept {
  ++version_;
  const bool wasUrgent = isIncomplete() || isLarge();
  const bool isReplacement = isReleased_;
  if (isReplacement) since_.reset();
  const bool isWritten = guarded([&] {
    mutex_.assumeHeld();
    write(isReplacement ? replacementBy(items_, live_) : frames);
  });
  isReleased_ = false;
  if (!isWritten) {
    since_.reset();
    mustCompact_ = true;
  }
  guarded([&] {
    mutex_.assumeHeld();
    wake(!wasUrgent && (isIncomplete() || isLarge()));
  });
}

// Makes frames that replace the items in the file, and sets `size` to the size of the items'.
std::string QueueJournal::replacementBy(std::deque<JournalItem>& next, std::uint64_t& size) {
  std::string items;
  std::uint64_t count = 0;
  size = 0;
  for (JournalItem& each : next) {
    count += putItem(items, id_, End::tail, each) ? 1 : 0;
    size += each.size;
  }
  std::string frames;
  putReplacement(frames, id_, count);
  return frames.append(items);
}

void QueueJournal::write(const std::string& frames) {
  if (frames.empty()) return;
  if (since_) since_->append(frames);
  if (!mustCompact_ && !file_) {
    create();
  } else if (!mustCompact_ && !missing_.empty()) {
    missing_.append(frames);
  } else if (!mustCompact_) {
    append(frames);
  }
  // Then a compaction costs no more.
  if (missing_.size() > live_) mustCompact_ = true;
  if (mustCompact_) missing_ = {};
  if (file_ && !copyIsName_ && !copyIsDue_) addCopy();
  copyIsDue_ |= !copyIsName_;
  isUnsynced_ = file_ != nullptr;
}

// `frames` may be the missing ones.
void QueueJournal::append(const std::string& frames) {
  switch (file_->append(frames)) {
    case JournalFile::Append::done:
      size_ += frames.size();
      missing_ = {};
      break;
    case JournalFile::Append::failed:
      missing_ = frames;
      break;
    case JournalFile::Append::lost:
      mustCompact_ = true;
      break;
  }
}

// Writes all items before others can see the file. Without a container, the next change tries
// again.
void QueueJournal::create() {
  const auto directory = groupContainer();
  mustCompact_ = directory.has_value();
  if (!directory) return;
  // Nothing may throw once the file has its name.
  std::shared_ptr<JournalFile> file = platform_.journals->create(*directory, hasLocks_);
  if (!file) return;
  const std::uint64_t id = makeFileId();
  const std::string frames = newFile(id, items_);
  if (file->append(frames) != JournalFile::Append::done || !takeName(*file, *directory)) return;
  file_.swap(file);
  id_ = id;
  size_ = frames.size();
  nameIsUnsynced_ = true;
  mustCompact_ = false;
}

std::string QueueJournal::newFile(std::uint64_t id, std::deque<JournalItem>& items) {
  std::string frames;
  putBegin(frames, id, {});
  for (JournalItem& each : items) putItem(frames, id, End::tail, each);
  return frames;
}

// Without locks no process looks for other names.
bool QueueJournal::takeName(JournalFile& file, const std::string& directory) {
  if (file.takeName(firstQueueFile(directory))) return true;
  if (!hasLocks_) return false;
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(makeFileId()));
  std::string name(kClassName);
  name.append("-").append(digits).append(kSuffix);
  return file.takeName(directory + "/" + name);
}

// If the copy is on another file system, the thread writes it.
void QueueJournal::addCopy() {
  const auto documents = platform_.directories->documents();
  copyIsName_ = documents && file_->addName(firstQueueFile(*documents));
}

bool QueueJournal::saveFile(const ZQMQueueItems& items) {
  const MutexLock lock(mutex_);
  if (!isAttached_) {
    replace(items);
    return file_ && !isIncomplete();
  }
  // The items in memory stay authoritative.
  resetInChild();
  if (!file_) create();
  if (!file_) return false;
  std::deque<JournalItem> made;
  for (const Item& each : items) made.push_back({each, ++lastKey_, 0});
  std::uint64_t size = 0;
  since_.reset();
  write(replacementBy(made, size));
  wake(true);
  return !isIncomplete();
}

std::optional<ZQMQueueItems> QueueJournal::readFile() {
  std::optional<Bytes> bytes;
  {
    const MutexLock lock(mutex_);
    if (file_) bytes = file_->read();
  }
  const auto directory = groupContainer();
  if (!bytes && directory) bytes = platform_.files->read(firstQueueFile(*directory));
  if (!bytes) return std::nullopt;
  JournalContent content = readJournal(asText(*bytes));
  const bool isOurs = content.state == JournalContent::State::sound ||
                      (content.state == JournalContent::State::damaged && content.size > 0);
  if (!isOurs) return std::nullopt;
  ZQMQueueItems items;
  for (JournalItem& each : content.items) items.append(std::move(each.item));
  return items;
}

void QueueJournal::removeFile() {
  const MutexLock lock(mutex_);
  resetInChild();
  const auto directory = groupContainer();
  if (file_) {
    file_->removeName();
    file_.reset();
  } else if (directory) {
    Journals::Opened opened = platform_.journals->open(firstQueueFile(*directory), hasLocks_);
    if (opened.file) opened.file->removeName();
  }
  missing_.clear();
  mustCompact_ = copyIsName_ = false;
  since_.reset();
  if (!isAttached_) {
    items_.clear();
    live_ = bytes_ = 0;
    ++version_;
  }
}

}  // namespace zqm
