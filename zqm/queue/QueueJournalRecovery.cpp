// The files of processes that have ended.
#include <algorithm>
#include <utility>

#include "zqm/core/settings/Resources.h"
#include "zqm/queue/QueueJournal.h"
#include "zqm/util/Encoding.h"

namespace zqm {
namespace {

std::string nameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// Not a damaged file: the part after the damage would be lost.
bool isWorthAdopting(const JournalContent& content) {
  return content.state == JournalContent::State::sound && !content.items.empty();
}

}  // namespace

// Skips a file whose items another one has adopted: the adopter was killed before it removed it.
void QueueJournal::load(const std::string& directory) {
  const MutexLock one(recovering_);
  std::shared_ptr<void> turn;
  if (!beginRecovery(directory, turn)) return;
  const std::string first = firstQueueFile(directory);
  Journals::Opened opened = platform_.journals->open(first, hasLocks_);
  const auto bytes = opened.file ? opened.file->read() : std::nullopt;
  if (!bytes) return;
  Found own{first, std::move(opened.file), readJournal(asText(*bytes))};
  const auto hasItsItems = [&](const std::string& path) {
    return readHead(path).adopted.contains(own.content.file);
  };
  // A list without this very file could not be read.
  const auto paths = queueFiles(directory);
  if (!paths.empty() && std::ranges::none_of(paths, hasItsItems)) takeOver(own, directory);
}

// Takes over one file, adopts the others, and removes those that have been adopted. Each is locked
// meanwhile.
std::vector<std::string> QueueJournal::recover() {
  const MutexLock one(recovering_);
  std::vector<std::string> reports;
  const auto directory = groupContainer();
  std::shared_ptr<void> turn;
  if (!directory || !beginRecovery(*directory, turn)) return reports;
  std::set<std::uint64_t> adopted;
  std::vector<Found> found = findFiles(*directory, adopted, reports);
  std::vector<Found*> left;
  std::vector<Found*> toRemove;
  for (Found& each : found) {
    if (adopted.contains(each.content.file)) {
      toRemove.push_back(&each);
    } else if (!takeOver(each, *directory)) {
      left.push_back(&each);
    }
  }
  // Without locks there is one name only, so a file that is not worth adopting must give it up
  // first.
  const bool mustFreeName = !hasLocks_ && !left.empty() && !isWorthAdopting(left.front()->content);
  bool areAllRemoved = !mustFreeName || removeOrQuarantine(left, reports);
  if (!adopt(left)) return reports;
  if (hasLocks_) toRemove.insert(toRemove.end(), left.begin(), left.end());
  // Not before the name of the file that contains their items is on the disk.
  if (!toRemove.empty() && !platform_.journals->sync(*directory)) return reports;
  areAllRemoved = removeOrQuarantine(toRemove, reports) && areAllRemoved;
  // The ids are kept until the files are gone from the disk.
  if (!found.empty() && platform_.journals->sync(*directory) && areAllRemoved) {
    const MutexLock lock(mutex_);
    adopted_.clear();
    if (file_ && file_->takeName(firstQueueFile(*directory))) nameIsUnsynced_ = true;
  }
  return reports;
}

JournalContent QueueJournal::readHead(const std::string& path) const {
  return readJournalBegin(asText(platform_.journals->begin(path)));
}

bool QueueJournal::beginRecovery(const std::string& directory, std::shared_ptr<void>& token) {
  const Journals::Turn turn = platform_.journals->takeTurn(directory, token);
  if (turn == Journals::Turn::others) return false;
  hasLocks_ = turn == Journals::Turn::ours;
  const MutexLock lock(mutex_);
  resetInChild();
  return !isReleased_;
}

// The first name comes first. Without locks there is no other.
std::vector<std::string> QueueJournal::queueFiles(const std::string& directory) {
  std::vector<std::string> paths;
  for (const std::string& name : platform_.journals->names(directory)) {
    const std::string path = directory + "/" + name;
    const bool isFirst = path == firstQueueFile(directory);
    if (isQueueFileName(name) && (hasLocks_ || isFirst)) paths.push_back(path);
  }
  std::ranges::sort(paths, {},
                    [](const std::string& path) { return std::pair(path.size(), path); });
  return paths;
}

// Returns the files that no process owns, and the ids that any file names as adopted. Without locks
// this process is assumed to be the only one.
std::vector<QueueJournal::Found> QueueJournal::findFiles(const std::string& directory,
                                                         std::set<std::uint64_t>& adopted,
                                                         std::vector<std::string>& reports) {
  std::uint64_t own = 0;
  {
    const MutexLock lock(mutex_);
    own = file_ ? id_ : 0;
  }
  std::vector<Found> found;
  if (!hasLocks_ && own != 0) return found;
  for (const std::string& path : queueFiles(directory)) {
    Journals::Opened opened = platform_.journals->open(path, hasLocks_);
    const auto bytes = opened.file ? opened.file->read() : std::nullopt;
    JournalContent content = bytes ? readJournal(asText(*bytes)) : readHead(path);
    adopted.insert(content.adopted.begin(), content.adopted.end());
    std::string reason;
    if (opened.access == Journals::Access::unreadable) reason = opened.reason;
    if (opened.file && !bytes) reason = "an input or output error";
    if (bytes && content.state == JournalContent::State::newer) reason = "it is of a later version";
    if (!reason.empty() && reported_.insert(path).second) {
      reports.push_back("The queue's file " + nameOf(path) + " is left as it is: " + reason);
    }
    if (!reason.empty() || !opened.file || (own != 0 && content.file == own)) continue;
    found.push_back({path, std::move(opened.file), std::move(content)});
  }
  return found;
}

// Makes a found file this process's own, if that has none. Copies nothing: otherwise a chain of
// short-lived processes would write the queue again and again.
bool QueueJournal::takeOver(Found& found, const std::string& directory) {
  const MutexLock one(compacting_);
  const MutexLock lock(mutex_);
  const bool isFree = !file_ && items_.empty() && !isReleased_;
  if (!isFree || found.content.state != JournalContent::State::sound) return false;
  const std::string first = firstQueueFile(directory);
  if (found.path != first) found.file->takeName(first);
  JournalContent& content = found.content;
  Draft draft;
  draft.back = std::move(content.items);
  draft.adopted = std::move(content.adopted);
  draft.id = content.file;
  draft.size = content.size;
  draft.file = std::move(found.file);
  prepare(draft);
  // Cuts off what a power loss left behind the valid frames.
  mustCompact_ = content.hasRest && !draft.file->cut(content.size);
  lastKey_ = std::max(lastKey_, content.lastKey);
  install(draft);
  return true;
}

// Files without items need no new file, unless they name adopted ones.
bool QueueJournal::adopt(const std::vector<Found*>& found) {
  Draft draft;
  bool tellsOfOthers = false;
  for (Found* const each : found) {
    if (each->content.file != 0) draft.adopted.insert(each->content.file);
    if (isWorthAdopting(each->content)) draft.inPlaceOf = each->file.get();
    tellsOfOthers |= !each->content.adopted.empty();
    draft.adopted.insert(each->content.adopted.begin(), each->content.adopted.end());
    for (JournalItem& item : each->content.items) {
      (item.item->priority ? draft.front : draft.back).push_back(std::move(item));
    }
  }
  const bool isWorthIt = tellsOfOthers || !draft.front.empty() || !draft.back.empty();
  return !isWorthIt || compact(std::move(draft));
}

// Returns whether all are removed. A damaged file is kept under a name that no recovery takes. One
// that cannot be removed stays locked, so that no other process takes it.
bool QueueJournal::removeOrQuarantine(const std::vector<Found*>& files,
                                      std::vector<std::string>& reports) {
  bool areAllRemoved = true;
  for (Found* const each : files) {
    const bool isDamaged = each->content.state == JournalContent::State::damaged;
    const std::string kept = each->path + "-damaged-" + makeUuid();
    const bool isRemoved = isDamaged ? each->file->takeName(kept) : each->file->removeName();
    if (isRemoved && isDamaged) {
      reports.push_back("The queue's file could not be read to its end; it is kept as " +
                        nameOf(kept));
    }
    areAllRemoved = areAllRemoved && isRemoved;
    const MutexLock lock(mutex_);
    if (!isRemoved) unremoved_.push_back(std::move(each->file));
  }
  return areAllRemoved;
}

}  // namespace zqm
