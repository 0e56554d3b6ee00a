// Operations on files that fail, one by one and from some moment on.
#include <cerrno>
#include <memory>
#include <optional>

#include "tests/faults/Installation.h"
#include "tests/support/Becomes.h"
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
    std::optional<Launch> launch(std::in_place, installed.platform());
    const FileFault fault({n, last}, errors[static_cast<std::size_t>(n) % errors.size()]);
    live(launch->process);
    EXPECT_TRUE(last || becomes([&] { return isStored(); }));
    EXPECT_TRUE(isBalanced());
    const Names left = sorted(allNames());
    if (last) FileFault::end();
    launch.reset();
    EXPECT_EQ(sorted(installed.storedNames()), left);
    return {left, FileFault::hasHappened()};
  }

  const std::unique_ptr<OldFileSystem> old{GetParam().isOld ? std::make_unique<OldFileSystem>()
                                                            : nullptr};
  Installation installed;
};

TEST_P(FileFaultTest, NoneOfALaunchLosesAnItemOrHarmsTheNextLaunch) {
  const std::int64_t count = forEachRequest([&](std::int64_t n) {
    {
      const Launch launch(installed.platform());
      queueRule().refreshQueue(ZQMQueueModel());
      enqueue("q/1");
      enqueue("q/3");
    }
    const auto [left, happened] = liveWith(n);
    Launch next(installed.platform());
    queueRule().adoptQueues();
    EXPECT_EQ(sorted(pendingNames()), left);
    EXPECT_EQ(installed.queueFiles(), std::vector{installed.firstFile});
    for (const FileState state :
         {installed.stored<ZQMUserModel>().state, installed.stored<ZQMConfigModel>().state,
          installed.stored<ZQMDeviceModel>().state}) {
      EXPECT_NE(state, FileState::damaged);
    }
    if (!happened || n % 4 == 0) {
      live(next.process);
      EXPECT_TRUE(ZQMCore::isStarted());
      EXPECT_TRUE(isBalanced());
      EXPECT_EQ(installed.storedNames(), pendingNames());
      EXPECT_EQ(installed.stored<ZQMConfigModel>().record.value().lastUpdateDate,
                installed.fakes.clock->now());
      EXPECT_TRUE(installed.stored<ZQMDeviceModel>().record.value().isStarted);
    }
    return happened;
  });
  EXPECT_GT(count, 30);
}

TEST_P(FileFaultTest, FirstItemsOfAnInstallationAreStoredOnce) {
  const std::vector<int>& errors = GetParam().errors;
  const bool last = GetParam().last;
  forEachRequest([&](std::int64_t n) {
    for (const std::string& file : installed.queueFiles()) std::filesystem::remove(file);
    std::filesystem::remove(firstQueueFile(installed.documents));
    std::optional<Launch> launch(std::in_place, installed.platform());
    const FileFault fault({n, last}, errors[static_cast<std::size_t>(n) % errors.size()]);
    enqueue("q/1");
    enqueue("q/3");
    if (last) FileFault::end();
    launch.reset();
    FileFault::end();
    EXPECT_EQ(installed.storedNames(), (Names{"q/1", "q/3"}));
    EXPECT_EQ(installed.queueFiles().size(), 1U);
    return FileFault::hasHappened();
  });
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
    const Launch launch(installed.platform());
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
  Launch launch(installed.platform());
  enqueue("q");
  for (int i = 0; i < 2; ++i) queueRule().adoptQueues();
  launch.process.drain();
  EXPECT_EQ(std::filesystem::read_symlink(installed.firstFile), "nowhere");
  EXPECT_EQ(installed.queueFiles().size(), 2U);
  EXPECT_EQ(installed.storedNames(), pendingNames());
  EXPECT_EQ(installed.fakes.http->requestsTo("graylog").size(), 1U);
}

TEST(DanglingLinkTest, IsReplacedByTheCopyInTheDocuments) {
  Installation installed;
  const std::string copy = firstQueueFile(installed.documents);
  std::filesystem::create_symlink("nowhere", copy);
  const Launch launch(installed.platform());
  enqueue("q");
  EXPECT_TRUE(std::filesystem::equivalent(installed.firstFile, copy));
  EXPECT_FALSE(std::filesystem::is_symlink(copy));
}

}  // namespace
}  // namespace zqm::testing
