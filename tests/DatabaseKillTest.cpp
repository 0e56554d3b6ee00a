// The store on real files, with its process killed in the middle of saves.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <random>

#include "tests/support/Tree.h"
#include "tools/zqm/Sandbox.h"
#include "zqm/core/ZQMUserModel.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/platform/Process.h"
#include "zqm/platform/linux/LinuxPlatform.h"

namespace zqm {
namespace {

// Saves one record after the other, each with the same text in two fields.
[[noreturn]] void saveForEver(int firstIsThere) {
  ZQMUserModel user;
  for (int i = 0;; ++i) {
    user.euid = user.appId = std::string(static_cast<std::size_t>(i % 5000), 'x');
    if (!ZQMDatabase::saveObject<ZQMUserModel>(user)) _exit(1);
    if (i == 0 && write(firstIsThere, "", 1) != 1) _exit(2);
  }
}

TEST(DatabaseKillTest, AKilledProcessLeavesAWholeRecordForTheNext) {
  const zqm::testing::Tree tree;
  const auto sandbox = tools::Sandbox::create(tree.path() / "sandbox", tools::makeIntegratorKey(),
                                              {.backendUrl = "http://127.0.0.1:1/"});
  const LinuxOptions options{.mainPackage = sandbox.hostPackage().string(),
                             .userDataDirectory = tree / "data"};
  std::minstd_rand random(1);
  for (int round = 0; round < 30; ++round) {
    int channel[2];
    ASSERT_EQ(pipe(channel), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    Process process(makeLinuxPlatform(options));
    const Process::Scope scope(process);
    if (child == 0) saveForEver(channel[1]);
    close(channel[1]);
    char byte = 0;
    EXPECT_EQ(read(channel[0], &byte, 1), 1) << "the child could not save";
    close(channel[0]);
    usleep(static_cast<useconds_t>(random() % 20'000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    const auto user = ZQMDatabase::readRecord<ZQMUserModel>();
    ASSERT_TRUE(user.has_value()) << "in round " << round;
    EXPECT_EQ(user->euid, user->appId);
  }
}

}  // namespace
}  // namespace zqm
