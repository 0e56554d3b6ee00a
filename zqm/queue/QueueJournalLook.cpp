// What processes that are gone have left in the container.
#include <algorithm>
#include <utility>

#include "zqm/queue/QueueDraft.h"
#include "zqm/util/Encoding.h"

namespace zqm {
namespace {

// A damaged file would lose its rest.
bool isWorthAdopting(const JournalContent& content) {
  return content.state == JournalContent::State::sound && !content.items.empty();
}

}  // namespace

struct QueueJournal::Found {
  std::string name;
  std::string path;
  std::unique_ptr<JournalFile> file;
  JournalContent content;
  std::uint64_t size = 0;
};

// Not without what a process that was killed amid an adoption has left: the file may hold items of
// others that are still there, as others may hold its items.
void QueueJournal::load(const std::string& directory) {
  const MutexLock one(looking_);
  std::shared_ptr<void> token;
  const Journals::Turn turn = platform_.journals->takeTurn(directory, token);
  const bool hasLocks = turn != Journals::Turn::noLocks;
  {
    const MutexLock lock(mutex_);
    hasLocks_ = hasLocks;
  }
  if (turn == Journals::Turn::others) return;
  const std::string first = firstQueueFile(directory);
  Journals::Opened opened = platform_.journals->open(first, hasLocks);
  const auto bytes = opened.file ? opened.file->read() : std::nullopt;
  if (!bytes) return;
  Found own{first.substr(directory.size() + 1), first, std::move(opened.file),
            readJournal(asText(*bytes)), bytes->size()};
  if (own.content.state != JournalContent::State::sound) return;
  std::vector<Found> others = findFiles(directory, reports_);
  std::vector<Found*> away;
  bool isAdopted = false;
  for (Found& each : others) {
    isAdopted |= each.content.adopted.contains(own.content.file);
    if (own.content.adopted.contains(each.content.file)) away.push_back(&each);
  }
  if (isAdopted) away = {&own};
  // Not before the file that holds their items has its name for certain.
  if (!away.empty() && !platform_.journals->sync(directory)) return;
  for (Found* const each : away) putAway(*each, reports_);
  if (!isAdopted) takeOver(own, directory);
}

// One file becomes this process's own, and the others are adopted; what has been adopted goes away.
// Each is held by its lock meanwhile.
std::vector<std::string> QueueJournal::look() {
  const MutexLock one(looking_);
  std::vector<std::string> reports;
  const auto directory = queueDirectory();
  if (!directory) return reports;
  std::shared_ptr<void> token;
  const Journals::Turn turn = platform_.journals->takeTurn(*directory, token);
  if (turn == Journals::Turn::others) return reports;
  std::set<std::uint64_t> adopted;
  {
    const MutexLock lock(mutex_);
    startAnewInChild();
    if (isReleased_) return reports;
    hasLocks_ = turn == Journals::Turn::ours;
    adopted = adopted_;
  }
  reports = std::exchange(reports_, {});
  std::vector<Found> found = findFiles(*directory, reports);
  for (const Found& each : found) {
    adopted.insert(each.content.adopted.begin(), each.content.adopted.end());
  }
  std::vector<Found*> left;
  std::vector<Found*> away;
  for (Found& each : found) {
    if (adopted.contains(each.content.file)) {
      away.push_back(&each);
    } else if (!takeOver(each, *directory)) {
      left.push_back(&each);
    }
  }
  bool isAllAway = true;
  const auto putAllAway = [&](const std::vector<Found*>& files) {
    for (Found* const each : files) isAllAway = putAway(*each, reports) && isAllAway;
  };
  // Without locks there is one name only, and what is not worth adopting gives it up first.
  if (turn == Journals::Turn::noLocks && !left.empty() && !isWorthAdopting(left.front()->content)) {
    putAllAway(left);
  }
  if (!adopt(left)) return reports;
  if (turn == Journals::Turn::ours) away.insert(away.end(), left.begin(), left.end());
  // Not before the file that holds their items has its name for certain.
  if (!away.empty() && !platform_.journals->sync(*directory)) return reports;
  putAllAway(away);
  // The ids go along until the files are gone from the disk.
  if (!found.empty() && platform_.journals->sync(*directory) && isAllAway) {
    const MutexLock lock(mutex_);
    adopted_.clear();
    if (file_ && file_->takeName(firstQueueFile(*directory))) nameIsUnsynced_ = true;
  }
  return reports;
}

// Those that nobody owns, the first name first. Without locks nobody but this process is taken to
// exist.
std::vector<QueueJournal::Found> QueueJournal::findFiles(const std::string& directory,
                                                         std::vector<std::string>& reports) {
  bool hasLocks = true;
  bool hasFile = false;
  std::uint64_t own = 0;
  {
    const MutexLock lock(mutex_);
    hasLocks = hasLocks_;
    hasFile = file_ != nullptr;
    own = hasFile ? id_ : 0;
  }
  const std::string first = firstQueueFile(directory);
  std::vector<Found> found;
  for (const std::string& name : platform_.journals->names(directory)) {
    const std::string path = directory + "/" + name;
    if (!isQueueFileName(name) || (!hasLocks && (hasFile || path != first))) continue;
    Journals::Opened opened = platform_.journals->open(path, hasLocks);
    const auto bytes = opened.file ? opened.file->read() : std::nullopt;
    JournalContent content = bytes ? readJournal(asText(*bytes)) : JournalContent();
    std::string reason;
    if (opened.access == Journals::Access::unreadable) reason = opened.reason;
    if (opened.file && !bytes) reason = "an input or output error";
    if (content.state == JournalContent::State::newer) reason = "it is of a later version";
    if (!reason.empty() && reported_.insert(name).second) {
      reports.push_back("The queue's file " + name + " is left as it is: " + reason);
    }
    if (!reason.empty() || !opened.file || (own != 0 && content.file == own)) continue;
    found.push_back({name, path, std::move(opened.file), std::move(content), bytes->size()});
  }
  std::ranges::sort(found, [&](const Found& one, const Found& other) {
    return std::pair(one.path != first, one.name) < std::pair(other.path != first, other.name);
  });
  return found;
}

// As it stands, nothing is copied: a chain of processes that live for a moment would otherwise
// write the queue again and again.
bool QueueJournal::takeOver(Found& found, const std::string& directory) {
  const MutexLock one(rewriting_);
  const MutexLock lock(mutex_);
  const bool isFree = !file_ && items_.empty() && !isReleased_;
  if (!isFree || found.content.state != JournalContent::State::sound) return false;
  const std::string first = firstQueueFile(directory);
  if (found.path != first) found.file->takeName(first);
  hold(std::move(found.file), std::move(found.content), found.size);
  return true;
}

// Files without items are worth no new file, unless they tell of others.
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
  return !isWorthIt || rewrite(std::move(draft));
}

// A damaged file is kept under a name that no look takes.
bool QueueJournal::putAway(Found& found, std::vector<std::string>& reports) {
  const bool isDamaged = found.content.state == JournalContent::State::damaged;
  const std::string suffix = "-damaged-" + makeUuid();
  const bool isAway =
      isDamaged ? found.file->takeName(found.path + suffix) : found.file->removeName();
  if (isAway && isDamaged) {
    reports.push_back("The queue's file could not be read to its end; it is kept as " + found.name +
                      suffix);
  }
  if (!isAway) {
    const MutexLock lock(mutex_);
    unremoved_.push_back(std::move(found.file));
  }
  return isAway;
}

}  // namespace zqm
