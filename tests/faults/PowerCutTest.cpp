// The store after a power cut, at every moment of its life: what was synced is there; of the rest,
// any page, size and name may be that of any moment since.
#include <map>
#include <optional>
#include <random>

#include "tests/faults/Installation.h"
#include "tests/support/Becomes.h"
#include "zqm/core/user/ZQMUserModel.h"

namespace zqm::testing {
namespace {

constexpr std::size_t kPage = 4096;

enum class Fate { unsyncedIsLost, allIsKept, lastWriteIsTorn, random };

// What a life has done to a disk.
class Record {
 public:
  explicit Record(std::vector<FileStep> steps) : steps_(std::move(steps)) {
    for (std::size_t i = 0; i < steps_.size(); ++i) {
      const FileStep& step = steps_[i];
      if (step.kind != FileStep::write && step.kind != FileStep::cut) continue;
      Versions& versions = versions_[step.file];
      std::string content = versions.empty() ? "" : versions.rbegin()->second;
      step.kind == FileStep::cut ? content.resize(step.size)
                                 : static_cast<void>(content += step.content);
      versions[i] = std::move(content);
    }
  }

  const std::vector<FileStep>& steps() const { return steps_; }

  // What a file holds before that step.
  const std::string& contentAt(int file, std::size_t moment) const {
    static const std::string none;
    const auto found = versions_.find(file);
    if (found == versions_.end()) return none;
    const auto next = found->second.lower_bound(moment);
    return next == found->second.begin() ? none : std::prev(next)->second;
  }

 private:
  // By the step that made them.
  using Versions = std::map<std::size_t, std::string>;

  const std::vector<FileStep> steps_;
  std::map<int, Versions> versions_;
};

// A disk at the moment before the step `end`.
class Disk {
 public:
  Disk(const Record& record, std::size_t end, Fate fate, unsigned seed)
      : record_(record), steps_(record.steps()), end_(end), fate_(fate), random_(seed) {}

  std::map<std::string, std::string> files() {
    std::map<std::string, int> named;
    for (std::size_t i = 0; i < end_; ++i) {
      const FileStep& step = steps_[i];
      const bool isName = step.kind <= FileStep::rename;
      if (!isName || (i >= syncedUntil(nameOf(step)) && isLost())) continue;
      named.erase(step.path);
      if (step.kind != FileStep::unname) named[nameOf(step)] = step.file;
    }
    std::map<std::string, std::string> files;
    for (const auto& [path, file] : named) files[path] = content(file);
    return files;
  }

  static const std::string& nameOf(const FileStep& step) {
    return step.kind == FileStep::rename ? step.content : step.path;
  }

 private:
  template <class Fits>
  std::size_t lastSync(const Fits& fits) const {
    for (std::size_t i = end_; i > 0; --i) {
      if (steps_[i - 1].kind == FileStep::sync && fits(steps_[i - 1])) return i - 1;
    }
    return 0;
  }
  std::size_t syncedUntil(int file) const {
    return lastSync([&](const FileStep& step) { return step.file == file; });
  }
  std::size_t syncedUntil(const std::string& name) const {
    const std::string directory = name.substr(0, name.rfind('/'));
    return lastSync([&](const FileStep& step) { return step.path == directory; });
  }

  bool isLost() {
    return fate_ == Fate::unsyncedIsLost || (fate_ == Fate::random && random_() % 2 == 0);
  }

  // Of which moment a page is, or the size.
  std::size_t moment(std::size_t synced) {
    const bool isBetween = fate_ == Fate::random && random_() % 2 == 0;
    if (isBetween) return synced + random_() % (end_ - synced + 1);
    return isLost() ? synced : end_;
  }

  std::string content(int file) {
    const std::size_t synced = syncedUntil(file);
    const std::string& newest = record_.contentAt(file, end_);
    const bool isTorn = fate_ == Fate::lastWriteIsTorn && end_ > 0 &&
                        steps_[end_ - 1].kind == FileStep::write && steps_[end_ - 1].file == file;
    if (isTorn) return newest.substr(0, newest.size() - steps_[end_ - 1].content.size() / 2);
    std::string whole(record_.contentAt(file, moment(synced)).size(), '\0');
    for (std::size_t page = 0; page < whole.size(); page += kPage) {
      const std::string& source = record_.contentAt(file, moment(synced));
      if (page >= source.size()) continue;
      const std::size_t size = std::min({kPage, source.size() - page, whole.size() - page});
      whole.replace(page, size, source, page, size);
    }
    return whole;
  }

  const Record& record_;
  const std::vector<FileStep>& steps_;
  const std::size_t end_;
  const Fate fate_;
  std::minstd_rand random_;
};

class PowerCutTest : public ::testing::Test {
 protected:
  // What all processes together hold; in one process, in this order. No state comes back.
  struct State {
    Names names;
    bool hasOrder = true;

    bool is(const Names& found) const {
      return hasOrder ? found == names : sorted(found) == sorted(names);
    }
  };

  void saved(const Names& others = {}) {
    State state{pendingNames(), others.empty()};
    state.names.insert(state.names.end(), others.begin(), others.end());
    states.push_back(std::move(state));
    recordMark();
  }
  void add(std::size_t size, bool priority = false, const Names& others = {}) {
    enqueue("item-" + std::to_string(++lastItem), size, priority);
    saved(others);
  }
  void remove(int count, const Names& others = {}) {
    for (int i = 0; i < count; ++i) {
      removeFirst();
      saved(others);
    }
  }
  static void saveUser(std::size_t size) {
    ZQMUserModel user;
    user.euid = user.appId = std::string(size, 'u');
    ASSERT_TRUE(ZQMDatabase::saveObject<ZQMUserModel>(user));
  }

  // What a launch after the power cut finds, whichever process wrote it.
  Names survivors(const std::map<std::string, std::string>& disk) const {
    Fakes fakes;
    for (const auto& [path, content] : disk) {
      fakes.files->put(path.substr(installed.tree->root().size()), toBytes(content));
    }
    const Launch launch(fakes.platform());
    queueRule().adoptQueues();
    const Names found = pendingNames();
    const auto user = ZQMDatabase::findRecord<ZQMUserModel>();
    EXPECT_TRUE(user.state == FileState::none ||
                (user.state == FileState::sound && user.record->euid == user.record->appId));
    for (const auto& [path, content] : fakes.files->contents) {
      EXPECT_EQ(path.find("damaged"), std::string::npos);
    }
    enqueue("next");
    EXPECT_EQ(pendingNames().size(), found.size() + 1);
    return found;
  }

  // The state that is found, of those from `oldest` to `newest`.
  std::optional<std::size_t> stateOf(const Names& found, std::size_t oldest,
                                     std::size_t newest) const {
    for (std::size_t i = oldest; i <= newest; ++i) {
      if (states[i].is(found)) return i;
    }
    return std::nullopt;
  }

  // The last state comes to the disk by itself.
  void waitForSync() const {
    ASSERT_TRUE(becomes([this] {
      return spared([&] {
        const Record record(recordedSteps());
        Disk disk(record, record.steps().size(), Fate::unsyncedIsLost, 0);
        return stateOf(survivors(disk.files()), 0, states.size() - 1) == states.size() - 1;
      });
    }));
  }

  // Entries of many sizes, records, a compaction, and syncs that come when they come.
  void live() {
    const Launch launch(installed.platform());
    for (int i = 0; i < 4; ++i) add(100);
    saveUser(20);
    add(14'000);
    add(100);
    waitForSync();
    for (int i = 0; i < 3; ++i) add(9'000, true);
    add(50);
    saveUser(9'000);
    remove(4);
    add(300);
    // The compaction meets changes.
    for (int i = 0; i < 40; ++i) add(1'300);
    waitForSync();
    remove(46);
    waitForSync();
    for (int i = 0; i < 3; ++i) add(1'300);
  }

  // A second process on the container ends, and the first one adopts what it leaves.
  void liveWithAnother() {
    const Launch launch(installed.platform());
    add(300);
    waitForSync();
    const Names ours = pendingNames();
    {
      const Launch other(installed.platform());
      add(300, false, ours);
      add(5'000, true, ours);
      add(100, false, ours);
      remove(1, ours);
      add(100, true, ours);
    }
    const std::uint64_t before = queueRule().counts().loaded;
    const Names others = otherNames();
    ASSERT_EQ(others.size(), 3U);
    // In no file that is synced yet.
    add(200, false, others);
    queueRule().adoptQueues();
    EXPECT_EQ(queueRule().counts().loaded, before + others.size());
    saved();
    add(200);
    waitForSync();
  }

  // A process that found the file in the hands of another takes it over.
  void outlive() {
    std::optional<Process> owner(std::in_place, installed.platform());
    Process heir(installed.platform());
    {
      const Process::Scope scope(*owner);
      add(300);
      const Process::Scope inside(heir);
      ASSERT_EQ(queueRule().count(), 0U);
    }
    owner.reset();
    const Process::Scope scope(heir);
    queueRule().adoptQueues();
    saved();
    add(300);
    remove(2);
    waitForSync();
  }

  // In the files that this process has not got.
  Names otherNames() const {
    Names names = installed.storedNames();
    std::erase_if(names, [own = pendingNames()](const std::string& name) {
      return std::ranges::count(own, name) > 0;
    });
    return names;
  }

  Installation installed;
  std::vector<State> states = {{}};
  int lastItem = 0;
};

// What was certain at one moment is so ever after: a state that only a later file holds, and that
// file only as far as it is synced, would show as a step back.
TEST_F(PowerCutTest, LeavesAStateThatWasSavedAndAllThatWasSynced) {
  live();
  liveWithAnother();
  outlive();
  live();
  const Record record(recordedSteps());
  const auto& steps = record.steps();
  // Compactions and the adoption.
  const auto isCompaction = [&](const FileStep& step) {
    return step.kind == FileStep::rename && step.content == installed.firstFile;
  };
  EXPECT_GE(std::ranges::count_if(steps, isCompaction), 4);
  std::size_t marks = 0;
  std::size_t oldest = 0;
  for (std::size_t end = 0; end <= steps.size(); ++end) {
    SCOPED_TRACE(end);
    if (end > 0 && steps[end - 1].kind == FileStep::mark) ++marks;
    const std::size_t newest = std::min(marks + 1, states.size() - 1);
    const auto check = [&](Fate fate, unsigned seed) {
      const Names found = survivors(Disk(record, end, fate, seed).files());
      const auto state = stateOf(found, oldest, newest);
      EXPECT_TRUE(state) << found.size() << " items";
      return state.value_or(oldest);
    };
    oldest = check(Fate::unsyncedIsLost, 0);
    check(Fate::allIsKept, 0);
    check(Fate::lastWriteIsTorn, 0);
    for (unsigned seed = 1; seed <= 10; ++seed) check(Fate::random, seed);
    ASSERT_FALSE(HasFailure());
  }
  EXPECT_EQ(oldest, states.size() - 1);
}

}  // namespace
}  // namespace zqm::testing
