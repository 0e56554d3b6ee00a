// Probes of power, memory, storage and the system, over trees that stand for the system's.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <thread>

#include "tests/support/Environment.h"
#include "tests/support/Tree.h"
#include "zqm/platform/linux/device/LinuxMemoryAndStorage.h"
#include "zqm/platform/linux/device/LinuxPower.h"
#include "zqm/platform/linux/device/LinuxSystemInfo.h"

namespace zqm::testing {
namespace {

class LinuxPowerTest : public ::testing::Test {
 protected:
  Tree tree;
  LinuxPower power{tree.root()};

  void battery(const std::string& name, const std::string& status, const std::string& capacity) {
    put(name + "/type", "Battery");
    put(name + "/status", status);
    put(name + "/capacity", capacity);
  }
  void put(const std::string& file, const std::string& content) {
    tree.put("sys/class/power_supply/" + file, content + "\n");
  }
};

TEST_F(LinuxPowerTest, BatteriesOfTheSystemCountAsOneAndOthersNot) {
  put("AC/type", "Mains");
  battery("mouse", "Discharging", "5");
  put("mouse/scope", "Device");
  battery("BAT2", "Charging", "0");
  put("BAT2/present", "0");
  EXPECT_EQ(power.level(), -1.0F);
  EXPECT_EQ(power.state(), 0);
  for (const auto& [status, state] :
       {std::pair{"Discharging", 1}, {"Charging", 2}, {"Not charging", 3}, {"nonsense", 0}}) {
    battery("BAT0", status, "2000000000");
    EXPECT_EQ(power.state(), state) << status;
  }
  battery("BAT1", "Discharging", "20");
  EXPECT_EQ(power.state(), 1);
  EXPECT_FLOAT_EQ(power.level(), 0.6F);
}

TEST(LinuxMemoryAndStorageTest, CountsPagesAndDamagedOrHugeFactsStayDefined) {
  const Tree tree;
  LinuxMemoryAndStorage memory(tree / "missing", tree.root());
  EXPECT_FALSE(memory.homeSpace());
  EXPECT_TRUE(LinuxMemoryAndStorage(tree.root()).homeSpace());
  const std::string statistics =
      "MemTotal: 2097152 kB\nMemFree:   400 kB\nActive:  800 kB\nInactive:  1200 kB\n"
      "Active(anon):   4 kB\nUnevictable: 40 kB\nSlab: ";
  tree.put("proc/meminfo", statistics + "80 kB\n");
  EXPECT_EQ(memory.physicalMemory(), std::uint64_t{2} << 30);
  const MemoryPages pages = memory.memoryPages().value();
  const std::vector<std::uint32_t> counted = {pages.free, pages.active, pages.inactive,
                                              pages.wired};
  const std::uint32_t perPage = pages.hostPageSize / 1024;
  EXPECT_EQ(counted, (std::vector{400 / perPage, 800 / perPage, 1200 / perPage, 120 / perPage}));
  tree.put("proc/meminfo", statistics + "18446744073709551615 kB\n");
  EXPECT_EQ(memory.memoryPages().value().wired, UINT32_MAX);
  for (const char* damaged : {"", "Active:", "MemTotal: x kB\nMemFree: 99999999999999999999 kB"}) {
    tree.put("proc/meminfo", damaged);
    EXPECT_EQ(memory.physicalMemory(), 0U) << damaged;
    EXPECT_FALSE(memory.memoryPages()) << damaged;
  }
}

TEST(LinuxSystemInfoTest, TheVersionIsTheDistributionsOrElseTheKernels) {
  const Tree tree;
  LinuxSystemInfo info(tree.root());
  tree.put("usr/lib/os-release", "NAME=x\nVERSION_ID=11");
  EXPECT_EQ(info.systemVersion(), "11");
  for (const auto& [line, version] :
       {std::pair{"XVERSION_ID=1\nVERSION_ID='1 2'\n", "1 2"},
        std::pair{"VERSION_ID=\"a\\\"b\"\n", "a\"b"}, std::pair{"VERSION_ID=\"\n", "\""}}) {
    tree.put("etc/os-release", line);
    EXPECT_EQ(info.systemVersion(), version) << line;
  }
}

TEST(LinuxSystemInfoTest, TheLocaleIsTheFirstThatTheEnvironmentNames) {
  for (const auto& [all, messages, lang, locale] : std::vector<std::array<const char*, 4>>{
           {"pt_BR.UTF-8", "de_DE", "en_GB", "pt_BR"},
           {"", "de_DE@euro", "en_GB", "de_DE"},
           {"C.UTF-8", "de_DE", "en_GB", "en_US_POSIX"},
           {"../../etc", "pt BR", "UTF-8", "en_US_POSIX"},
       }) {
    const Environment set{
        {"LC_ALL", all}, {"LC_MESSAGES", messages}, {"LC_CTYPE", std::nullopt}, {"LANG", lang}};
    EXPECT_EQ(LinuxSystemInfo().locale(), locale);
  }
}

TEST(LinuxSystemInfoTest, TheZoneIsADatabaseNameForEveryFormOfTheVariable) {
  LinuxSystemInfo info;
  for (const auto& [variable, zone] :
       {std::pair{":America/Recife", "America/Recife"},
        std::pair{"/usr/share/zoneinfo/Europe/Lisbon", "Europe/Lisbon"},
        std::pair{"posix/Asia/Kolkata", "Asia/Kolkata"}, std::pair{"BRT3", "Etc/GMT+3"},
        std::pair{"IST-5:30", "GMT+05:30"}, std::pair{"No/Where", "Etc/UTC"},
        std::pair{"\xFF", "Etc/UTC"}}) {
    const Environment set{{"TZ", variable}};
    EXPECT_EQ(info.timeZone(), zone) << "for TZ=" << variable;
  }
}

TEST(LinuxSystemInfoTest, FollowsAChangeOfTheSystemsZone) {
  const std::string database = "/usr/share/zoneinfo/";
  if (!std::filesystem::exists(database + "America/Recife")) GTEST_SKIP() << "There is no tzdata.";
  const Environment set{{"TZ", std::nullopt}};
  // A thread with mounts of its own may change /etc.
  std::thread([&] {
    if (unshare(CLONE_NEWNS | CLONE_FS) != 0 ||
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", "/etc", "tmpfs", 0, nullptr) != 0) {
      GTEST_SKIP() << "No mounts of its own: " << std::strerror(errno);
    }
    LinuxSystemInfo info;
    EXPECT_EQ(info.timeZone(), "UTC") << "without a file";
    for (const char* zone : {"America/Recife", "America/Manaus"}) {
      std::filesystem::create_symlink(database + zone, "/etc/new");
      std::filesystem::rename("/etc/new", "/etc/localtime");
      EXPECT_EQ(info.timeZone(), zone);
    }
  }).join();
}

}  // namespace
}  // namespace zqm::testing
