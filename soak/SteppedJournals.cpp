// The steps, and the faults.
#include "soak/SteppedJournals.h"

#include <sys/file.h>

#include <algorithm>
#include <filesystem>

#include "zqm/model/Frame.h"
#include "zqm/queue/JournalForm.h"

namespace zqm::soak {
namespace {

using What = Steps::What;

// The first frame's ids become others.
std::string withoutIds(std::string_view piece) {
  const auto begin = frameAt(piece, 0, std::nullopt);
  const auto content = begin ? readJournal(piece.substr(0, begin->size())) : JournalContent();
  if (content.state != JournalContent::State::sound) return std::string(piece);
  std::set<std::uint64_t> others;
  while (others.size() < content.adopted.size()) others.insert(makeFileId());
  std::string changed;
  putBegin(changed, begin->id, others);
  return changed.append(piece.substr(begin->size()));
}

class SteppedFile : public JournalFile {
 public:
  SteppedFile(std::unique_ptr<JournalFile> real, std::shared_ptr<Steps> steps,
              std::shared_ptr<std::atomic<std::uint64_t>> id, bool isNew, int unlocked)
      : real_(std::move(real)),
        steps_(std::move(steps)),
        id_(std::move(id)),
        isNew_(isNew),
        unlocked_(unlocked) {
    if (isNew && steps_->fault == Fault::keptId) keptId_ = *id_;
  }

  std::optional<Bytes> read() override {
    auto content = real_->read();
    if (content) ownId_ = readJournal(asText(*content)).file;
    return content;
  }
  Append append(std::string_view piece) override {
    std::string changed(piece);
    if (isNew_ && steps_->fault == Fault::noIds) changed = withoutIds(piece);
    if (keptId_ != 0) setFrameIds(changed, keptId_);
    const auto first = frameAt(changed, 0, std::nullopt);
    if (first) ownId_ = first->id;
    if (!isNew_) *id_ = ownId_;
    steps_->take(What::append);
    const std::string_view half = std::string_view(changed).substr(0, changed.size() / 2);
    if (steps_->isFull) {
      ++steps_->refused;
      steps_->isBehind = true;
      return real_->append(half) == Append::lost ? Append::lost : Append::failed;
    }
    if (steps_->count() + 1 == steps_->at && steps_->signal == SIGKILL) {
      real_->append(half);
      steps_->take(What::halfAppend);
    }
    const Append outcome = real_->append(changed);
    // What a new file holds counts once that has its name.
    if (outcome != Append::done || !isNew_ || isNamed_) steps_->isBehind = outcome != Append::done;
    return outcome;
  }
  bool cut(std::uint64_t size) override {
    steps_->take(What::cut);
    return real_->cut(size);
  }
  bool sync() override {
    steps_->take(What::sync);
    return real_->sync();
  }
  bool takeName(const std::string& path) override {
    steps_->take(What::takeName);
    const bool isNamed = real_->takeName(path);
    if (isNamed) hasName();
    return isNamed;
  }
  bool replace(JournalFile& old) override {
    steps_->take(What::replace);
    const bool isReplaced = real_->replace(*static_cast<SteppedFile&>(old).real_);
    if (isReplaced) hasName();
    return isReplaced;
  }
  bool addName(const std::string& path) override {
    steps_->take(What::addName);
    return real_->addName(path);
  }
  bool removeName() override {
    steps_->take(What::removeName);
    return real_->removeName();
  }

 private:
  void hasName() {
    isNamed_ = true;
    if (isNew_) ++steps_->named;
    steps_->isBehind = false;
    *id_ = ownId_;
    if (unlocked_ < 0) return;
    steps_->take(What::lock);
    flock(std::exchange(unlocked_, -1), LOCK_EX | LOCK_NB);
  }

  const std::unique_ptr<JournalFile> real_;
  const std::shared_ptr<Steps> steps_;
  const std::shared_ptr<std::atomic<std::uint64_t>> id_;
  const bool isNew_;
  bool isNamed_ = false;
  std::uint64_t ownId_ = 0;
  std::uint64_t keptId_ = 0;
  // A descriptor to lock later.
  int unlocked_;
};

}  // namespace

void Steps::take(What what) {
  if (before) before(what);
  // Of the thread: it goes no step further.
  if (++count_ == at) raise(signal);
}

Journals::Turn SteppedJournals::takeTurn(const std::string& directory,
                                         std::shared_ptr<void>& token) {
  steps_->take(What::takeTurn);
  if (steps_->fault == Fault::noTurn) return Turn::ours;
  return steps_->hasLocks ? real_->takeTurn(directory, token) : Turn::noLocks;
}

std::vector<std::string> SteppedJournals::names(const std::string& directory) {
  steps_->take(What::names);
  return real_->names(directory);
}

Journals::Opened SteppedJournals::open(const std::string& path, bool locks) {
  steps_->take(What::open);
  Opened opened = real_->open(path, locks);
  if (opened.file) {
    opened.file = std::make_unique<SteppedFile>(std::move(opened.file), steps_, id_, false, -1);
  }
  return opened;
}

std::unique_ptr<JournalFile> SteppedJournals::create(const std::string& directory, bool locks) {
  steps_->take(What::create);
  if (steps_->isFull) {
    ++steps_->refused;
    steps_->isBehind = true;
    return nullptr;
  }
  const std::set<int> before = descriptorsIn(directory);
  auto file = real_->create(directory, locks);
  if (!file) return nullptr;
  int unlocked = -1;
  if (steps_->fault == Fault::lateLock) {
    for (const int each : descriptorsIn(directory)) {
      if (!before.contains(each)) unlocked = each;
    }
    flock(unlocked, LOCK_UN);
  }
  return std::make_unique<SteppedFile>(std::move(file), steps_, id_, true, unlocked);
}

bool SteppedJournals::sync(const std::string& directory) {
  steps_->take(What::syncDirectory);
  return real_->sync(directory);
}

std::set<int> descriptorsIn(const std::string& directory) {
  std::set<int> found;
  std::error_code error;
  for (const auto& each : std::filesystem::directory_iterator("/proc/self/fd", error)) {
    std::error_code gone;
    const std::string target = std::filesystem::read_symlink(each.path(), gone);
    if (target.starts_with(directory + "/")) found.insert(std::stoi(each.path().filename()));
  }
  return found;
}

}  // namespace zqm::soak
