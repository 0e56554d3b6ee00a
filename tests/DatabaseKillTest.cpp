// The store on real files, with its process killed in the middle of saves.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <random>

#include "tests/support/Tree.h"
#include "zqm/core/ZQMUserModel.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/platform/Process.h"
#include "zqm/platform/linux/LinuxPlatform.h"

namespace zqm {
namespace {

constexpr const char* kPackage =
    "<plist><dict><key>NSGroupIdentifier</key><string>group</string></dict></plist>";

// Saves one record after the other, each with the same text in two fields.
[[noreturn]] void saveForEver() {
  ZQMUserModel user;
  for (std::size_t i = 0;; ++i) {
    user.euid = user.appId = std::string(1 + i % 5000, 'x');
    if (!ZQMDatabase::saveObject<ZQMUserModel>(user)) _exit(1);
  }
}

TEST(DatabaseKillTest, AKilledProcessLeavesAWholeRecordForTheNextAndNoGrowingLitter) {
  const testing::Tree tree;
  tree.put("package/Info.plist", kPackage);
  const LinuxOptions options{.mainPackage = tree / "package", .userDataDirectory = tree / "data"};
  std::minstd_rand random(1);
  for (int round = 0; round < 40; ++round) {
    std::filesystem::remove(tree / "data/group/ZQMUserModel.plist");
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    Process process(makeLinuxPlatform(options));
    const Process::Scope scope(process);
    if (child == 0) saveForEver();
    int status = 0;
    std::optional<ZQMUserModel> user;
    while (!user && waitpid(child, &status, WNOHANG) == 0) {
      user = ZQMDatabase::readRecord<ZQMUserModel>();
    }
    const auto limit =
        std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 20'000);
    while (user && std::chrono::steady_clock::now() < limit) {
      EXPECT_EQ(user->euid, user->appId);
      user = ZQMDatabase::readRecord<ZQMUserModel>();
    }
    EXPECT_TRUE(user) << "while it is saved";
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "a save failed";
    user = ZQMDatabase::readRecord<ZQMUserModel>();
    ASSERT_TRUE(user && user->euid == user->appId) << "in round " << round;
    const std::filesystem::directory_iterator files(tree / "data/group");
    EXPECT_LE(std::distance(files, {}), 2) << "the record and what the last left";
  }
}

}  // namespace
}  // namespace zqm
