// Probes of power, memory, storage and surroundings, over trees that stand for the system's.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

#include "tests/support/Environment.h"
#include "tests/support/Tree.h"
#include "zqm/platform/linux/LinuxMemoryAndStorage.h"
#include "zqm/platform/linux/LinuxPower.h"
#include "zqm/platform/linux/LinuxSurroundings.h"

namespace zqm {
namespace {

using testing::Environment;
using testing::Tree;

class LinuxPowerTest : public ::testing::Test {
 protected:
  Tree tree;
  LinuxPower power{tree.root()};

  void put(const std::string& supply, const std::string& file, const std::string& content) {
    tree.put("sys/class/power_supply/" + supply + "/" + file, content + "\n");
  }
  void battery(const std::string& name, const std::string& status, const std::string& capacity) {
    put(name, "type", "Battery");
    put(name, "status", status);
    put(name, "capacity", capacity);
  }
};

TEST_F(LinuxPowerTest, WithoutABatteryOfTheSystemEverythingIsUnknown) {
  EXPECT_EQ(power.level(), -1.0F);
  EXPECT_EQ(power.state(), 0);
  put("AC", "type", "Mains");
  battery("mouse", "Discharging", "5");
  put("mouse", "scope", "Device");
  battery("BAT1", "Unknown", "0");
  put("BAT1", "present", "0");
  EXPECT_EQ(power.level(), -1.0F);
  EXPECT_EQ(power.state(), 0);
}

TEST_F(LinuxPowerTest, ReadsLevelAndStateOfOneOrSeveralBatteries) {
  for (const auto& [status, state] :
       {std::pair{"Discharging", 1}, std::pair{"Charging", 2}, std::pair{"Full", 3},
        std::pair{"Not charging", 3}, std::pair{"Unknown", 0}, std::pair{"nonsense", 0}}) {
    battery("BAT0", status, "50");
    EXPECT_EQ(power.state(), state) << status;
  }
  EXPECT_FLOAT_EQ(power.level(), 0.5F);
  battery("BAT0", "Full", "100");
  battery("BAT1", "Discharging", "20");
  EXPECT_EQ(power.state(), 1);
  EXPECT_FLOAT_EQ(power.level(), 0.6F);
  battery("BAT1", "Charging", "2000000000");
  EXPECT_EQ(power.state(), 2);
  EXPECT_FLOAT_EQ(power.level(), 1.0F);
}

constexpr const char* kMemoryInfo =
    "MemTotal:        2097152 kB\nMemFree:             400 kB\nActive:              800 kB\n"
    "Inactive:           1200 kB\nActive(anon):          4 kB\nUnevictable:          40 kB\n"
    "Slab:                 80 kB\n";

TEST(LinuxMemoryAndStorageTest, CountsPagesOfTheKernelsStatistics) {
  const Tree tree;
  LinuxMemoryAndStorage memory(std::nullopt, tree.root());
  EXPECT_EQ(memory.physicalMemory(), 0U);
  EXPECT_FALSE(memory.memoryPages());
  tree.put("proc/meminfo", kMemoryInfo);
  const auto page = static_cast<std::uint32_t>(sysconf(_SC_PAGESIZE));
  EXPECT_EQ(memory.physicalMemory(), std::uint64_t{2} << 30);
  const auto pages = memory.memoryPages();
  ASSERT_TRUE(pages);
  EXPECT_EQ(pages->free, 400U * 1024 / page);
  EXPECT_EQ(pages->active, 800U * 1024 / page);
  EXPECT_EQ(pages->inactive, 1200U * 1024 / page);
  EXPECT_EQ(pages->wired, 120U * 1024 / page);
  EXPECT_EQ(pages->hostPageSize, page);
  EXPECT_EQ(pages->globalPageSize, page);
}

TEST(LinuxMemoryAndStorageTest, DamagedOrHugeStatisticsStayDefined) {
  const Tree tree;
  LinuxMemoryAndStorage memory(std::nullopt, tree.root());
  std::string text = kMemoryInfo;
  text.replace(text.find("80 kB"), 2, "18446744073709551615");
  tree.put("proc/meminfo", text);
  EXPECT_EQ(memory.memoryPages()->wired, UINT32_MAX);
  for (const char* damaged : {"", "Active:", "MemTotal: x kB\nMemFree: 99999999999999999999 kB"}) {
    tree.put("proc/meminfo", damaged);
    EXPECT_EQ(memory.physicalMemory(), 0U) << damaged;
    EXPECT_FALSE(memory.memoryPages()) << damaged;
  }
}

TEST(LinuxMemoryAndStorageTest, MeasuresTheFileSystemOfTheHomeDirectory) {
  const Tree home;
  const auto space = LinuxMemoryAndStorage(home.root()).homeSpace();
  ASSERT_TRUE(space);
  EXPECT_GT(space->size, 0);
  EXPECT_GE(space->free, 0);
  EXPECT_LE(space->free, space->size);
  EXPECT_FALSE(LinuxMemoryAndStorage(home / "missing").homeSpace());
  EXPECT_FALSE(LinuxMemoryAndStorage(std::nullopt).homeSpace());
}

TEST(LinuxSurroundingsTest, TheVersionIsTheDistributionsOrElseTheKernels) {
  const Tree tree;
  LinuxSurroundings surroundings(tree.root());
  utsname names{};
  uname(&names);
  EXPECT_EQ(surroundings.machine(), names.machine);
  EXPECT_EQ(surroundings.systemVersion(), names.release);
  tree.put("usr/lib/os-release", "NAME=x\nVERSION_ID=11");
  EXPECT_EQ(surroundings.systemVersion(), "11");
  for (const auto& [line, version] :
       {std::pair{"XVERSION_ID=1\nVERSION_ID=\"12\"\n", "12"}, std::pair{"VERSION_ID='1 2'", "1 2"},
        std::pair{"VERSION_ID=\"a\\\"b\"\n", "a\"b"}, std::pair{"VERSION_ID=\"\n", "\""}}) {
    tree.put("etc/os-release", line);
    EXPECT_EQ(surroundings.systemVersion(), version) << line;
  }
}

TEST(LinuxSurroundingsTest, TheLocaleIsTheFirstThatTheEnvironmentNames) {
  const auto localeOf = [](std::optional<std::string> all, std::optional<std::string> messages,
                           std::optional<std::string> type, std::optional<std::string> lang) {
    const Environment set{
        {"LC_ALL", all}, {"LC_MESSAGES", messages}, {"LC_CTYPE", type}, {"LANG", lang}};
    return LinuxSurroundings().locale();
  };
  EXPECT_EQ(localeOf("pt_BR.UTF-8", "de_DE", "fr_FR", "en_GB"), "pt_BR");
  EXPECT_EQ(localeOf("", "de_DE@euro", "fr_FR", "en_GB"), "de_DE");
  EXPECT_EQ(localeOf(std::nullopt, std::nullopt, "UTF-8", "en_GB.utf8"), "en_GB");
  EXPECT_EQ(localeOf(std::nullopt, std::nullopt, std::nullopt, std::nullopt), "en_US_POSIX");
  EXPECT_EQ(localeOf("C.UTF-8", "de_DE", std::nullopt, std::nullopt), "en_US_POSIX");
  EXPECT_EQ(localeOf("../../etc", "pt BR", std::string(5000, 'a'), "kok"), "kok");
}

TEST(LinuxSurroundingsTest, TheZoneIsADatabaseNameForEveryFormOfTheVariable) {
  LinuxSurroundings surroundings;
  for (const auto& [variable, zone] :
       {std::pair{"America/Sao_Paulo", "America/Sao_Paulo"},
        std::pair{":America/Recife", "America/Recife"},
        std::pair{"/usr/share/zoneinfo/Europe/Lisbon", "Europe/Lisbon"},
        std::pair{"posix/Asia/Kolkata", "Asia/Kolkata"}, std::pair{"BRT3", "Etc/GMT+3"},
        std::pair{"IST-5:30", "GMT+05:30"}, std::pair{"GMT-3", "Etc/GMT-3"},
        std::pair{"", "Etc/UTC"}, std::pair{"No/Where", "Etc/UTC"}, std::pair{"\xFF", "Etc/UTC"},
        std::pair{"America/Sao_Paulo", "America/Sao_Paulo"}}) {
    const Environment set{{"TZ", variable}};
    EXPECT_EQ(surroundings.timeZone(), zone) << "for TZ=" << variable;
  }
}

// Runs `body` where it may change /etc. The reason why that cannot be, or "".
std::string withOwnEtc(const std::function<void()>& body) {
  if (!std::filesystem::exists("/usr/share/zoneinfo/America/Recife")) {
    return "the time-zone database (tzdata) is missing";
  }
  std::string reason;
  std::thread([&] {
    if (unshare(CLONE_NEWNS | CLONE_FS) == 0 &&
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
        mount("none", "/etc", "tmpfs", 0, nullptr) == 0) {
      return body();
    }
    reason = std::string("no mounts of its own: ").append(std::strerror(errno));
  }).join();
  return reason;
}

TEST(LinuxSurroundingsTest, FollowsAChangeOfTheSystemsZone) {
  const Environment set{{"TZ", std::nullopt}};
  const std::string reason = withOwnEtc([] {
    LinuxSurroundings surroundings;
    const auto choose = [](const char* zone) {
      std::filesystem::create_symlink(std::string("/usr/share/zoneinfo/") + zone, "/etc/new");
      std::filesystem::rename("/etc/new", "/etc/localtime");
    };
    EXPECT_EQ(surroundings.timeZone(), "UTC") << "without a file";
    choose("America/Recife");
    EXPECT_EQ(surroundings.timeZone(), "America/Recife");
    choose("America/Manaus");
    EXPECT_EQ(surroundings.timeZone(), "America/Manaus");
    {
      const Environment nearer{{"TZ", "Asia/Tokyo"}};
      EXPECT_EQ(surroundings.timeZone(), "Asia/Tokyo");
    }
    EXPECT_EQ(surroundings.timeZone(), "America/Manaus");
  });
  if (!reason.empty()) GTEST_SKIP() << reason;
}

TEST(LinuxSurroundingsTest, WhatOnlyABusTellsIsUnknown) {
  LinuxSurroundings surroundings;
  EXPECT_FALSE(surroundings.cellularSubscriber());
  EXPECT_TRUE(surroundings.wifiInterfaces().empty());
  EXPECT_TRUE(surroundings.audioOutputs().empty());
  EXPECT_FALSE(surroundings.isEnabled(AccessibilityFeature::voiceOver));
}

}  // namespace
}  // namespace zqm
