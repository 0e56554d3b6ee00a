// The store after a power cut, at every moment of its life: what was synced is there; of the rest,
// any page, size and name may be that of any moment since.
#include <map>
#include <random>
#include <set>
#include <thread>

#include "tests/faults/Installation.h"
#include "zqm/core/ZQMUserModel.h"

namespace zqm::testing {
namespace {

constexpr std::size_t kPage = 4096;

enum class Fate { unsyncedIsLost, allIsKept, lastWriteIsTorn, random };

// A disk at the moment before the step `end`.
class Disk {
 public:
  Disk(const std::vector<FileStep>& steps, std::size_t end, Fate fate, unsigned seed)
      : steps_(steps), end_(end), fate_(fate), random_(seed) {}

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

  // Whether it is there for certain.
  bool isSafe(std::size_t step) {
    const FileStep& done = steps_[step];
    if (done.kind == FileStep::write) return step < syncedUntil(done.file);
    return step < syncedUntil(nameOf(done));
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
    std::string whole;
    std::map<std::size_t, std::size_t> ends;  // of the file, after a step
    for (std::size_t i = 0; i < end_; ++i) {
      if (steps_[i].kind != FileStep::write || steps_[i].file != file) continue;
      const bool isTorn = fate_ == Fate::lastWriteIsTorn && i + 1 == end_;
      whole += steps_[i].content.substr(0, steps_[i].content.size() / (isTorn ? 2 : 1));
      ends[i] = whole.size();
    }
    const auto endAt = [&](std::size_t moment) {
      const auto next = ends.lower_bound(moment);
      return next == ends.begin() ? 0 : std::prev(next)->second;
    };
    for (std::size_t page = 0; page < whole.size(); page += kPage) {
      const std::size_t end = std::min(page + kPage, whole.size());
      for (std::size_t i = std::max(page, endAt(moment(synced))); i < end; ++i) {
        whole[i] = 0;
      }
    }
    whole.resize(endAt(moment(synced)));
    return whole;
  }

  const std::vector<FileStep>& steps_;
  const std::size_t end_;
  const Fate fate_;
  std::minstd_rand random_;
};

class PowerCutTest : public ::testing::Test {
 protected:
  void saved() {
    states.push_back(pendingNames());
    recordMark();
  }
  void add(const std::string& name, std::size_t size, bool priority = false) {
    enqueue(name, size, priority);
    saved();
  }
  void saveUser(std::size_t size) {
    ZQMUserModel user;
    user.euid = user.appId = std::string(size, 'u');
    ASSERT_TRUE(ZQMDatabase::saveObject<ZQMUserModel>(user));
  }

  // The state before which all was synced.
  std::size_t oldestPossible(const std::vector<FileStep>& steps, std::size_t end) const {
    std::set<int> files;
    for (const FileStep& step : steps) {
      if (isOfQueue(step)) files.insert(step.file);
    }
    Disk disk(steps, end, Fate::unsyncedIsLost, 0);
    std::size_t state = 0;
    for (std::size_t i = 0; i < end; ++i) {
      const FileStep& step = steps[i];
      const bool isWrite = step.kind == FileStep::write && files.contains(step.file);
      if ((isOfQueue(step) || isWrite) && !disk.isSafe(i)) break;
      if (step.kind == FileStep::mark) ++state;
    }
    return state;
  }
  bool isOfQueue(const FileStep& step) const {
    return step.kind <= FileStep::rename && Disk::nameOf(step) == queuePath;
  }

  // The last state comes to the disk by itself.
  void waitForSync() const {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (std::size_t oldest = 0; oldest < states.size() - 1;) {
      ASSERT_LT(std::chrono::steady_clock::now(), limit);
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      const auto steps = recordedSteps();
      oldest = oldestPossible(steps, steps.size());
    }
  }

  // Entries of many sizes, records, a rewriting, and syncs that come when they come.
  void live() {
    Process process(installed.platform());
    const Process::Scope scope(process);
    for (int i = 0; i < 4; ++i) add("small", 100);
    saveUser(20);
    add("large", 14'000);
    add("small", 100);
    waitForSync();
    for (int i = 0; i < 3; ++i) add("large", 9'000, true);
    saveUser(9'000);
    for (int i = 0; i < 4; ++i) {
      removeFirst();
      saved();
    }
    add("small", 300);
    process.drain();
    for (int i = 0; i < 5; ++i) add("small", 1'300);
    waitForSync();
  }

  void check(const std::map<std::string, std::string>& disk, std::size_t oldest,
             std::size_t newest) {
    Fakes fakes;
    for (const auto& [path, content] : disk) {
      fakes.files->put(path.substr(installed.tree->root().size()), toBytes(content));
    }
    Process process(fakes.platform());
    const Process::Scope scope(process);
    const auto queue = ZQMDatabase::findRecord<ZQMQueueModel>();
    EXPECT_TRUE(queue.state == FileState::none || queue.state == FileState::sound);
    const Names found = namesIn(queue.record.value_or(ZQMQueueModel()));
    const auto begin = states.begin();
    EXPECT_NE(std::find(begin + static_cast<std::ptrdiff_t>(oldest),
                        begin + static_cast<std::ptrdiff_t>(newest) + 1, found),
              begin + static_cast<std::ptrdiff_t>(newest) + 1)
        << found.size() << " items";
    const auto user = ZQMDatabase::findRecord<ZQMUserModel>();
    EXPECT_TRUE(user.state == FileState::none ||
                (user.state == FileState::sound && user.record->euid == user.record->appId));
    enqueue("next");
    EXPECT_EQ(pendingNames().size(), found.size() + 1);
  }

  Installation installed;
  const std::string queuePath =
      installed.tree->root() + "/groups/group.example/ZQMQueueModel.plist";
  std::vector<Names> states = {{}};
};

TEST_F(PowerCutTest, LeavesAStateThatWasSavedAndAllThatWasSynced) {
  live();
  live();
  const auto steps = recordedSteps();
  std::size_t marks = 0;
  for (std::size_t end = 0; end <= steps.size(); ++end) {
    SCOPED_TRACE(end);
    if (end > 0 && steps[end - 1].kind == FileStep::mark) ++marks;
    const std::size_t oldest = oldestPossible(steps, end);
    const std::size_t newest = std::min(marks + 1, states.size() - 1);
    for (const Fate fate : {Fate::unsyncedIsLost, Fate::allIsKept, Fate::lastWriteIsTorn}) {
      check(Disk(steps, end, fate, 0).files(), oldest, newest);
    }
    for (unsigned seed = 1; seed <= 10; ++seed) {
      check(Disk(steps, end, Fate::random, seed).files(), oldest, newest);
    }
    ASSERT_FALSE(HasFailure());
  }
}

}  // namespace
}  // namespace zqm::testing
