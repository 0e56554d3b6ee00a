// Operations on files that fail, one by one and from some moment on.
#include <cerrno>
#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include "tests/faults/Installation.h"
#include "zqm/config/ZQMConfigModel.h"
#include "zqm/core/user/ZQMUserModel.h"
#include "zqm/device/ZQMDeviceModel.h"

namespace zqm::testing {
namespace {

struct Failures {
  const char* name;
  // In turn; all of them fail the same operations.
  std::vector<int> errors;
  bool last;
  bool isOld = false;
};

// Whether that comes true by what the library's thread does.
bool becomes(const std::function<bool()>& condition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

class FileFaultTest : public ::testing::TestWithParam<Failures> {
 protected:
  // A launch in which everything is due and the queue's file is compacted.
  void live(Process& process) {
    installed.fakes.clock->advance(std::chrono::hours(48));
    enqueue("q/2");
    enqueue("q/8");
    // Tried again at once, unless a file that could not be read has the only name.
    if (FileFault::isOver() && !(GetParam().isOld && queueRule().counts().loaded == 0)) {
      EXPECT_TRUE(becomes([&] { return isStored(); }));
    }
    ZQMCore::start(installed.appId, [] {});
    process.drain();
    for (int i = 0; i < 6; ++i) enqueue("big", 8000, true);
    for (int i = 0; i < 6; ++i) removeFirst();
    enqueue("q/4", 300, true);
    process.drain();
  }

  // Of this and earlier launches. What could not be read yet waits in a file of its own.
  static Names allNames() {
    Names names = pendingNames();
    if (queueRule().counts().loaded == 0) names.insert(names.end(), {"q/1", "q/3"});
    return names;
  }
  bool isStored() {
    if (queueRule().counts().loaded > 0) return installed.storedNames() == pendingNames();
    return sorted(installed.storedNames()) == sorted(allNames());
  }

  // What the launch ends with, and whether there were so many operations. A single fault may meet
  // the end of the process, too.
  std::pair<Names, bool> liveWith(std::int64_t n) {
    const auto& [name, errors, last, isOld] = GetParam();
    std::optional<Process> process(std::in_place, installed.platform());
    const FileFault fault({n, last}, errors[static_cast<std::size_t>(n) % errors.size()]);
    Names left;
    {
      const Process::Scope scope(*process);
      live(*process);
      if (!last) {
        EXPECT_TRUE(becomes([&] { return isStored(); }));
      }
      EXPECT_TRUE(isBalanced());
      left = sorted(allNames());
    }
    if (last) FileFault::end();
    process.reset();
    EXPECT_EQ(sorted(installed.storedNames()), left);
    return {left, FileFault::hasHappened()};
  }

  Installation installed;
};

TEST_P(FileFaultTest, NoneOfALaunchLosesAnItemOrHarmsTheNextLaunch) {
  std::optional<OldFileSystem> old;
  if (GetParam().isOld) old.emplace();
  std::int64_t n = 1;
  for (bool happened = true; happened; ++n) {
    SCOPED_TRACE(n);
    {
      Process process(installed.platform());
      const Process::Scope scope(process);
      queueRule().refreshQueue(ZQMQueueModel());
      enqueue("q/1");
      enqueue("q/3");
    }
    const auto [left, mayGoOn] = liveWith(n);
    happened = mayGoOn;
    Process next(installed.platform());
    const Process::Scope scope(next);
    queueRule().adoptQueues();
    EXPECT_EQ(sorted(pendingNames()), left);
    EXPECT_EQ(installed.queueFiles(), std::vector{installed.firstFile});
    for (const FileState state :
         {installed.stored<ZQMUserModel>().state, installed.stored<ZQMConfigModel>().state,
          installed.stored<ZQMDeviceModel>().state}) {
      EXPECT_NE(state, FileState::damaged);
    }
    if (!happened || n % 4 == 0) {
      live(next);
      EXPECT_TRUE(ZQMCore::isStarted());
      EXPECT_TRUE(isBalanced());
      EXPECT_EQ(installed.storedNames(), pendingNames());
      EXPECT_EQ(installed.stored<ZQMConfigModel>().record.value().lastUpdateDate,
                installed.fakes.clock->now());
      EXPECT_TRUE(installed.stored<ZQMDeviceModel>().record.value().isStarted);
    }
    ASSERT_FALSE(HasFailure());
  }
  EXPECT_GT(n, 30);
}

TEST_P(FileFaultTest, FirstItemsOfAnInstallationAreStoredOnce) {
  const auto& [name, errors, last, isOld] = GetParam();
  std::optional<OldFileSystem> old;
  if (isOld) old.emplace();
  bool happened = true;
  for (std::int64_t n = 1; happened; ++n) {
    SCOPED_TRACE(n);
    for (const std::string& file : installed.queueFiles()) std::filesystem::remove(file);
    std::filesystem::remove(firstQueueFile(installed.documents));
    std::optional<Process> process(std::in_place, installed.platform());
    {
      const FileFault fault({n, last}, errors[static_cast<std::size_t>(n) % errors.size()]);
      const Process::Scope scope(*process);
      enqueue("q/1");
      enqueue("q/3");
      if (last) FileFault::end();
      process.reset();
      happened = FileFault::hasHappened();
    }
    EXPECT_EQ(installed.storedNames(), (Names{"q/1", "q/3"}));
    EXPECT_EQ(installed.queueFiles().size(), 1U);
    ASSERT_FALSE(HasFailure());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Errors, FileFaultTest,
    ::testing::Values(Failures{"One", {EIO, EACCES}, false},
                      Failures{"OneChange", {ENOSPC, EROFS}, false},
                      Failures{"OneChangeOnAnOldFileSystem", {ENOSPC, EROFS}, false, true},
                      Failures{"AllChanges", {ENOSPC, EROFS}, true},
                      Failures{"All", {ENOENT, EIO, EACCES}, true}),
    [](const auto& each) { return std::string(each.param.name); });

// What a full disk refused, into a file that is gone when there is room again.
TEST(FullDiskTest, WritesAtTheEndWhatNeverFitted) {
  Installation installed;
  {
    Process process(installed.platform());
    const Process::Scope scope(process);
    enqueue("stored");
    const FileFault full({1, true}, ENOSPC);
    enqueue("late");
    EXPECT_TRUE(becomes([] { return FileFault::hasHappened(); }));
    std::filesystem::remove(installed.firstFile);
    std::filesystem::remove(firstQueueFile(installed.documents));
  }
  EXPECT_EQ(installed.storedNames(), (Names{"stored", "late"}));
}

TEST(DanglingLinkTest, IsLeftAloneAndReportedOnceAndTheQueueHasAnotherName) {
  Installation installed;
  std::filesystem::create_symlink("nowhere", installed.firstFile);
  Process process(installed.platform());
  const Process::Scope scope(process);
  enqueue("q");
  for (int i = 0; i < 2; ++i) queueRule().adoptQueues();
  process.drain();
  EXPECT_EQ(std::filesystem::read_symlink(installed.firstFile), "nowhere");
  EXPECT_EQ(installed.queueFiles().size(), 2U);
  EXPECT_EQ(installed.storedNames(), pendingNames());
  EXPECT_EQ(installed.fakes.http->requestsTo("graylog").size(), 1U);
}

TEST(DanglingLinkTest, IsReplacedByTheCopyInTheDocuments) {
  Installation installed;
  const std::string copy = firstQueueFile(installed.documents);
  std::filesystem::create_symlink("nowhere", copy);
  Process process(installed.platform());
  const Process::Scope scope(process);
  enqueue("q");
  EXPECT_TRUE(std::filesystem::equivalent(installed.firstFile, copy));
  EXPECT_FALSE(std::filesystem::is_symlink(copy));
}

}  // namespace
}  // namespace zqm::testing
