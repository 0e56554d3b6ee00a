// What Linux and the host agree on: main thread, notifications, host state, system log; and the
// platform as a whole.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <future>
#include <set>
#include <thread>

#include "tests/support/Environment.h"
#include "tests/support/Tree.h"
#include "zqm/platform/linux/LinuxHostState.h"
#include "zqm/platform/linux/LinuxMainThread.h"
#include "zqm/platform/linux/LinuxPlatform.h"
#include "zqm/platform/linux/LinuxSystemLog.h"

namespace zqm {
namespace {

using testing::Environment;
using testing::Tree;

constexpr std::chrono::seconds kLimit{10};

TEST(LinuxMainThreadTest, AThreadOfItsOwnRunsTasksInOrderPastOneThatThrows) {
  LinuxMainThread mainThread;
  std::vector<int> order;
  std::set<std::thread::id> threads;
  for (int i = 0; i < 100; ++i) {
    mainThread.post([&order, &threads, i] {
      threads.insert(std::this_thread::get_id());
      order.push_back(i);
      if (i == 50) throw std::runtime_error("a task's own fault");
    });
  }
  std::promise<void> done;
  mainThread.post([&] { done.set_value(); });
  ASSERT_EQ(done.get_future().wait_for(kLimit), std::future_status::ready);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  EXPECT_EQ(order.size(), 100U);
  EXPECT_EQ(threads.size(), 1U);
  EXPECT_FALSE(threads.contains(std::this_thread::get_id()));
}

TEST(LinuxMainThreadTest, TheHostsLoopGetsTheTasksAndMayRefuseThem) {
  std::vector<std::function<void()>> loop;
  LinuxMainThread mainThread([&](std::function<void()> task) { loop.push_back(std::move(task)); });
  bool ran = false;
  mainThread.post([&] {
    ran = true;
    throw 5;
  });
  EXPECT_FALSE(ran);
  ASSERT_EQ(loop.size(), 1U);
  EXPECT_NO_THROW(loop.front()());
  EXPECT_TRUE(ran);
  LinuxMainThread closed([](std::function<void()>) { throw std::runtime_error("no loop"); });
  EXPECT_NO_THROW(closed.post([] {}));
}

TEST(LinuxMainThreadTest, NotifiesWhoeverObservesANameUntilItsTokenGoes) {
  LinuxMainThread mainThread;
  const auto sender = std::make_shared<int>(1);
  std::vector<std::string> heard;
  std::shared_ptr<void> second;
  const auto first = mainThread.observe("changed", [&](const std::shared_ptr<void>& object) {
    EXPECT_EQ(object, sender);
    heard.emplace_back("first");
    // An observer may end another's observation, and its own fault stays with it.
    second.reset();
    throw std::runtime_error("an observer's own fault");
  });
  second = mainThread.observe("changed", [&](const auto&) { heard.emplace_back("second"); });
  const auto other = mainThread.observe("other", [&](const auto&) { heard.emplace_back("other"); });
  ASSERT_NE(first, nullptr);
  mainThread.notify("changed", sender);
  EXPECT_EQ(heard, (std::vector<std::string>{"first", "second"}));
  mainThread.notify("changed", sender);
  EXPECT_EQ(heard, (std::vector<std::string>{"first", "second", "first"}));
}

TEST(LinuxHostStateTest, AHostThatSaysNothingOrThrowsHasTheDefaults) {
  const auto packages = makeLinuxPlatform({}).packages;
  LinuxHostState silent({}, packages);
  EXPECT_EQ(silent.applicationState(), 0);
  EXPECT_EQ(silent.trackingAuthorization(), 0);
  LinuxHostState failing({[]() -> std::int32_t { throw 1; }, []() -> Value { throw 2; },
                          []() -> std::int32_t { throw 3; }},
                         packages);
  EXPECT_EQ(failing.applicationState(), 0);
  EXPECT_TRUE(failing.backgroundModes().isAbsent());
  EXPECT_EQ(failing.trackingAuthorization(), 0);
  LinuxHostState speaking(
      {[] { return 2; }, [] { return Value(List{"location"}); }, [] { return 3; }}, packages);
  EXPECT_EQ(speaking.applicationState(), 2);
  EXPECT_EQ(speaking.backgroundModes(), Value(List{"location"}));
  EXPECT_EQ(speaking.trackingAuthorization(), 3);
}

TEST(LinuxSystemLogTest, ATerminalShowsOneHarmlessLineAndAnythingElseNone) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  if (terminal < 0) GTEST_SKIP() << "The system has no pseudo terminals.";
  ASSERT_EQ(grantpt(terminal) | unlockpt(terminal), 0);
  const int screen = open(ptsname(terminal), O_RDWR | O_NOCTTY);
  ASSERT_GE(screen, 0);
  const Tree tree;
  const int file = open(tree.put("errors", "").c_str(), O_RDWR);

  const int before = dup(STDERR_FILENO);
  dup2(file, STDERR_FILENO);
  LinuxSystemLog().error("into a file");
  dup2(screen, STDERR_FILENO);
  LinuxSystemLog().error("missing %s container\x1B[2J\nforged");
  dup2(before, STDERR_FILENO);

  std::string shown(4096, '\0');
  const auto size = read(terminal, shown.data(), shown.size());
  ASSERT_GT(size, 0);
  shown.resize(static_cast<std::size_t>(size));
  EXPECT_EQ(shown, "missing %s container [2J forged\r\n");
  EXPECT_EQ(testing::contentOf(tree / "errors"), "");
  for (const int descriptor : {terminal, screen, file, before}) close(descriptor);
}

TEST(LinuxPlatformTest, KeepsEverythingUnderTheUserDataDirectory) {
  const Tree tree;
  tree.put("app/Info.plist",
           "<plist><dict><key>CFBundleIdentifier</key><string>org.example.host</string>"
           "<key>UIBackgroundModes</key><array><string>audio</string></array></dict></plist>");
  const Environment set{{"XDG_DATA_HOME", tree / "share"}, {"HOME", tree / "home"}};
  const Platform platform = makeLinuxPlatform({.mainPackage = tree / "app"});
  EXPECT_EQ(platform.directories->groupContainer("group"), tree / "share/group");
  EXPECT_EQ(platform.directories->documents(), tree / "share/org.example.host/Documents");
  EXPECT_EQ(platform.hostState->backgroundModes(), Value(List{"audio"}));
  EXPECT_EQ(platform.identity->advertisingIdentifier().size(), 36U);
  EXPECT_TRUE(std::filesystem::exists(tree / "share/org.zqm.core/advertising-identifier"));
  EXPECT_LT(std::chrono::abs(platform.clock->now() - std::chrono::system_clock::now()), kLimit);
  EXPECT_FALSE(std::filesystem::exists(tree / "home"));
}

TEST(LinuxPlatformTest, TheModificationProbeSeesAnEmptySystemUnlessAHostHandsOverARoot) {
  const Tree tree;
  tree.put("blocked", "a file where the user data directory should be");
  for (const char* place : {"share", "blocked"}) {
    const Platform platform = makeLinuxPlatform({.userDataDirectory = tree / place});
    EXPECT_FALSE(platform.systemFiles->exists("/bin/bash")) << place;
    EXPECT_FALSE(platform.systemFiles->opens("/etc/apt")) << place;
    EXPECT_FALSE(platform.systemFiles->writeAtomically("/private/jailbreak.txt", {})) << place;
    EXPECT_FALSE(platform.systemFiles->remove("/private/jailbreak.txt")) << place;
  }
  EXPECT_TRUE(std::filesystem::is_empty(tree / "share/org.zqm.core/system"));
  tree.put("system/bin/bash", "");
  const Platform handed = makeLinuxPlatform({.systemFileRoot = tree / "system"});
  EXPECT_TRUE(handed.systemFiles->exists("/bin/bash"));
}

}  // namespace
}  // namespace zqm
