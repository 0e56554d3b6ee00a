// Operations on files that fail, one by one and from some moment on.
#include <cerrno>
#include <set>

#include "tests/faults/Installation.h"
#include "zqm/config/ZQMConfigModel.h"
#include "zqm/core/ZQMUserModel.h"
#include "zqm/device/ZQMDeviceModel.h"

namespace zqm::testing {
namespace {

struct Failures {
  const char* name;
  // In turn; all of them fail the same operations.
  std::vector<int> errors;
  bool last;
};

class FileFaultTest : public ::testing::TestWithParam<Failures> {
 protected:
  // A launch in which everything is due and the queue's file is rewritten.
  void live(Process& process) {
    installed.fakes.clock->advance(std::chrono::hours(48));
    enqueue("q/2");
    const bool hasFailed = FileFault::isOver();
    enqueue("q/8");
    if (hasFailed) {
      // The change after one that failed brings both to the file.
      EXPECT_EQ(spared([&] { return installed.storedNames(); }), pendingNames());
    }
    ZQMCore::start(installed.appId, [] {});
    process.drain();
    for (int i = 0; i < 6; ++i) enqueue("big", 8000, true);
    for (int i = 0; i < 6; ++i) removeFirst();
    enqueue("q/4", 300, true);
    process.drain();
  }

  // The queue that the launch ends with, and whether there were so many operations.
  std::pair<Names, bool> liveWith(std::int64_t n) {
    const auto& [name, errors, last] = GetParam();
    Process process(installed.platform());
    const Process::Scope scope(process);
    const FileFault fault({n, last}, errors[static_cast<std::size_t>(n) % errors.size()]);
    live(process);
    if (!last) {
      FileFault::end();
      enqueue("q/6");
      EXPECT_EQ(installed.storedNames(), pendingNames());
    }
    EXPECT_TRUE(isBalanced());
    return {pendingNames(), fault.hasHappened()};
  }

  Installation installed;
};

TEST_P(FileFaultTest, NoneOfALaunchLosesAnItemOrHarmsTheNextLaunch) {
  const std::set<std::string> known = {"q/1", "q/2", "q/3", "q/4", "q/6", "q/8", "big"};
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
    const Names loaded = pendingNames();
    if (!GetParam().last) {
      EXPECT_EQ(loaded, left);
    }
    for (const std::string& name : loaded) EXPECT_TRUE(known.contains(name)) << name;
    for (const FileState state :
         {installed.stored<ZQMUserModel>().state, installed.stored<ZQMConfigModel>().state,
          installed.stored<ZQMDeviceModel>().state, installed.stored<ZQMQueueModel>().state}) {
      EXPECT_NE(state, FileState::damaged);
    }
    if (happened && n % 4 != 0) continue;
    live(next);
    EXPECT_TRUE(ZQMCore::isStarted());
    EXPECT_TRUE(isBalanced());
    EXPECT_EQ(installed.storedNames(), pendingNames());
    EXPECT_EQ(installed.stored<ZQMConfigModel>().record.value().lastUpdateDate,
              installed.fakes.clock->now());
    EXPECT_TRUE(installed.stored<ZQMDeviceModel>().record.value().isStarted);
    ASSERT_FALSE(HasFailure());
  }
  EXPECT_GT(n, 40);
}

INSTANTIATE_TEST_SUITE_P(Errors, FileFaultTest,
                         ::testing::Values(Failures{"One", {EIO, EACCES}, false},
                                           Failures{"OneChange", {ENOSPC, EROFS}, false},
                                           Failures{"AllChanges", {ENOSPC, EROFS}, true},
                                           Failures{"All", {ENOENT, EIO, EACCES}, true}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(DanglingLinkTest, IsReplacedByTheFileAndByItsCopy) {
  Installation installed;
  Process process(installed.platform());
  const Process::Scope scope(process);
  const auto container = installed.tree->path() / "groups/group.example/ZQMQueueModel.plist";
  const auto documents = installed.tree->path() / "documents/ZQMQueueModel.plist";
  for (const auto& links : {std::vector{container}, {documents}, {container, documents}}) {
    std::filesystem::remove(container);
    std::filesystem::remove(documents);
    for (const auto& link : links) std::filesystem::create_symlink("nowhere", link);
    enqueue("q");
    EXPECT_EQ(installed.storedNames(), pendingNames());
    EXPECT_TRUE(std::filesystem::equivalent(container, documents));
  }
}

}  // namespace
}  // namespace zqm::testing
