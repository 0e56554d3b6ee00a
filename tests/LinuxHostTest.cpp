// What Linux and the host agree on: main thread, notifications, host state, system log; and the
// platform as a whole.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "tests/support/Tree.h"
#include "zqm/platform/linux/LinuxPlatform.h"
#include "zqm/platform/linux/host/LinuxMainThread.h"
#include "zqm/platform/linux/host/LinuxSystemLog.h"
#include "zqm/platform/posix/Descriptor.h"

namespace zqm::testing {
namespace {

TEST(LinuxMainThreadTest, AThreadOfItsOwnRunsTasksInOrderPastOneThatThrows) {
  LinuxMainThread mainThread;
  std::string order;
  std::promise<std::thread::id> done;
  mainThread.post([&] {
    order += "first ";
    throw std::runtime_error("a task's own fault");
  });
  mainThread.post([&] { order += "second"; });
  mainThread.post([&] { done.set_value(std::this_thread::get_id()); });
  EXPECT_NE(done.get_future().get(), std::this_thread::get_id());
  EXPECT_EQ(order, "first second");
}

TEST(LinuxMainThreadTest, TheHostsLoopGetsTheTasksAndMayRefuseThem) {
  std::vector<std::function<void()>> loop;
  LinuxMainThread mainThread([&](std::function<void()> task) { loop.push_back(std::move(task)); });
  int ran = 0;
  mainThread.post([&] { throw ++ran; });
  EXPECT_EQ(ran, 0);
  EXPECT_NO_THROW(loop.at(0)());
  EXPECT_EQ(ran, 1);
  LinuxMainThread closed([](const std::function<void()>&) { throw std::runtime_error("no loop"); });
  EXPECT_NO_THROW(closed.post([] {}));
}

TEST(LinuxMainThreadTest, NotifiesWhoeverObservesANameUntilItsTokenGoes) {
  LinuxMainThread mainThread;
  const auto sender = std::make_shared<std::string>("first ");
  std::string heard;
  std::shared_ptr<void> second;
  const auto first = mainThread.observe("changed", [&](const std::shared_ptr<void>& object) {
    heard += *std::static_pointer_cast<std::string>(object);
    // An observer may end another's observation, and its own fault stays with it.
    second.reset();
    throw std::runtime_error("an observer's own fault");
  });
  second = mainThread.observe("changed", [&](const auto&) { heard += "second "; });
  const auto other = mainThread.observe("other", [&](const auto&) { heard += "other "; });
  for (int i = 0; i < 2; ++i) mainThread.notify("changed", sender);
  EXPECT_EQ(heard, "first second first ");
}

TEST(LinuxSystemLogTest, ATerminalShowsOneHarmlessLineAndAnythingElseNone) {
  const Descriptor terminal(posix_openpt(O_RDWR | O_NOCTTY));
  if (!terminal) GTEST_SKIP() << "The system has no pseudo terminals.";
  ASSERT_EQ(grantpt(terminal.get()) | unlockpt(terminal.get()), 0);
  const Descriptor screen = openFile(ptsname(terminal.get()), O_RDWR | O_NOCTTY);
  const Tree tree;
  const Descriptor file = openFile(tree.put("errors", ""), O_RDWR);
  const Descriptor before(dup(STDERR_FILENO));
  dup2(file.get(), STDERR_FILENO);
  LinuxSystemLog().error("into a file");
  dup2(screen.get(), STDERR_FILENO);
  LinuxSystemLog().error("missing %s container\x1B[2J\nforged");
  dup2(before.get(), STDERR_FILENO);

  std::string shown(4096, '\0');
  shown.resize(static_cast<std::size_t>(read(terminal.get(), shown.data(), shown.size())));
  EXPECT_EQ(shown, "missing %s container [2J forged\r\n");
  EXPECT_EQ(contentOf(tree / "errors"), "");
}

TEST(LinuxPlatformTest, AHostThatSaysNothingOrThrowsHasTheDefaults) {
  const Tree tree;
  tree.put("Info.plist",
           "<plist><dict><key>UIBackgroundModes</key><array><string>audio</string></array>"
           "</dict></plist>");
  const char* const unset = nullptr;
  LinuxOptions options{.mainPackage = tree.root(), .authoritiesFile = unset, .proxy = unset};
  EXPECT_EQ(makeLinuxPlatform(options).hostState->backgroundModes(), Value(List{"audio"}));
  options.applicationState = [] { return 2; };
  options.backgroundModes = []() -> Value { throw 2; };
  const auto state = makeLinuxPlatform(options).hostState;
  EXPECT_EQ(state->applicationState(), 2);
  EXPECT_TRUE(state->backgroundModes().isAbsent());
}

TEST(LinuxPlatformTest, TheModificationProbeSeesAnEmptySystemUnlessAHostHandsOverARoot) {
  const Tree tree;
  tree.put("blocked", "a file where the user data directory should be");
  for (const char* place : {"share", "blocked"}) {
    const auto system = makeLinuxPlatform({.userDataDirectory = tree / place}).systemFiles;
    EXPECT_FALSE(system->exists("/bin/bash")) << place;
    EXPECT_FALSE(system->writeAtomically("/private/jailbreak.txt", {})) << place;
  }
  tree.put("system/bin/bash", "");
  const auto handed = makeLinuxPlatform({.systemFileRoot = tree / "system"}).systemFiles;
  EXPECT_TRUE(handed->exists("/bin/bash"));
}

}  // namespace
}  // namespace zqm::testing
