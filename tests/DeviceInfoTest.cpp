// ZQMDeviceInfo: the rules of each probe.
#include "zqm/device/ZQMDeviceInfo.h"

#include <cmath>
#include <limits>

#include "tests/support/FakePlatform.h"
#include "tools/zqm/PropertyListWriter.h"
#include "zqm/log/ZQMDebugInfo.h"

namespace zqm::testing {
namespace {

using Info = ZQMDeviceInfo;

constexpr std::int64_t kGibi = 1LL << 30;
constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

class DeviceInfoTest : public Fixture {};

TEST_F(DeviceInfoTest, MeasuresStorageAndKnowsNoShareBelowOnePercent) {
  const struct {
    FileSystemSpace space;
    double used, usedPercent, free, freePercent;
  } cases[] = {
      {{300, 200}, 100, 33, 200, 66},
      {{200 * kGibi, kGibi}, 199, 99, 1, -1},
      {{0, kGibi}, -1, -1, 1, -1},
      {{kGibi, 0}, -1, -1, -1, -1},
      {{kGibi, kGibi - 1}, 1, -1, 1073741823.0 / 1048576.0, 99},
      {{kGibi, 2 * kGibi}, -1, -1, 2, 200},
      {{kLargest, kLargest / 2}, 4294967296.0, 50, 4294967296.0, 50},
      {{1, kLargest}, -1, -1, 8589934592.0, 9223372036854775808.0},
  };
  for (const auto& expected : cases) {
    SCOPED_TRACE(expected.space.size);
    fakes.memory->space = expected.space;
    EXPECT_EQ(Info::userDiskSpaceUsed(false), expected.used);
    EXPECT_EQ(Info::userDiskSpaceUsed(true), expected.usedPercent);
    EXPECT_EQ(Info::userDiskSpaceFree(false), expected.free);
    EXPECT_EQ(Info::userDiskSpaceFree(true), expected.freePercent);
  }
  fakes.memory->space.reset();
  EXPECT_EQ(Info::userDiskSpaceTotal(), -1.0);
}

TEST_F(DeviceInfoTest, RoundsMemoryToMultiplesOf256) {
  for (const auto& [mebibytes, rounded] :
       {std::pair(2175ULL, 2048.0), {2176, 2304}, {127, -1}, {UINT64_MAX >> 20, 2147483648.0}}) {
    fakes.memory->physical = mebibytes << 20;
    EXPECT_EQ(Info::userMemoryTotal(), rounded) << mebibytes;
  }
}

TEST_F(DeviceInfoTest, MeasuresMemoryByPagesAndWrapsAtFourGibibytes) {
  // 4096 pages of 4 KiB used with the statistics' size, 1024 pages of 16 KiB free with the other.
  fakes.memory->pages = MemoryPages{1024, 2048, 1024, 1024, 4096, 16384};
  EXPECT_EQ(Info::userMemoryUsed(false), 16.0);
  EXPECT_EQ(Info::userMemoryUsed(true), 16 * 100.0 / 2048);
  EXPECT_EQ(Info::userMemoryFree(false), 16.0);
  EXPECT_EQ(Info::userMemoryFree(true), 100.0 * 16 / 2048);
  // The used bytes are counted in 32 bits.
  fakes.memory->pages = MemoryPages{1U << 20, 1U << 20, 256, 0, 4096, 4096};
  EXPECT_EQ(Info::userMemoryUsed(false), 1.0);
  fakes.memory->physical = 0;
  EXPECT_EQ(Info::userMemoryUsed(true), -1.0);
  fakes.memory->pages.reset();
  EXPECT_EQ(Info::userMemoryUsed(false), -1.0);
}

TEST_F(DeviceInfoTest, CutsTheBatteryLevelAndSwitchesMonitoringOnByItself) {
  for (const auto& [charge, level] : {std::pair(-1.0F, std::int64_t{-100}),
                                      {0.999F, 99},
                                      {std::nanf(""), 0},
                                      {3e38F, kLargest}}) {
    fakes.power->charge = charge;
    EXPECT_EQ(Info::batteryLevel(), level);
  }
  // A report holds it in 32 bits.
  EXPECT_EQ(ZQMDebugInfo::getBatteryPercentage(), std::numeric_limits<std::int32_t>::max());
  fakes.power->monitored = false;
  fakes.power->status = 3;
  EXPECT_TRUE(Info::isBatteryCharging());
}

TEST_F(DeviceInfoTest, LooksForModificationsInTwoOrdersAndThenTriesToWrite) {
  FakeFiles& files = *fakes.systemFiles;
  EXPECT_EQ(Info::deviceModel(), std::nullopt);
  EXPECT_FALSE(Info::isJailbreak());
  EXPECT_EQ(files.existenceChecks.size(), 6U);
  EXPECT_EQ(files.existenceChecks.back(), "/private/var/lib/apt/");
  EXPECT_EQ(files.openChecks.size(), 5U);
  EXPECT_EQ(files.openChecks.front(), "/bin/bash");
  EXPECT_EQ(files.removed, std::vector<std::string>{"/private/jailbreak.txt"});
  // What could be written stays.
  files.readOnly = false;
  EXPECT_TRUE(Info::isJailbreak());
  EXPECT_EQ(files.read("/private/jailbreak.txt"), toBytes("Jailbreak Test."));
  fakes.files->put("/app/ZQMCore.bundle/Devices.plist",
                   tools::writePropertyList(Dictionary{{"model1,1", "Simulador"}}).value());
  EXPECT_FALSE(Info::isJailbreak());
}

TEST_F(DeviceInfoTest, NamesTheZoneInTheCurrentLocaleAndSurvivesUnusableOnes) {
  EXPECT_EQ(Info::getTimeZone(), "Horário Padrão de Brasília, America/Sao_Paulo");
  for (const char* zone : {"", "Nowhere/Nothing", "\xff\xfe"}) {
    fakes.systemInfo->zone = zone;
    for (const char* locale : {"", "@@@", "xx_YY_ZZ_and_far_too_much_that_is_no_locale"}) {
      fakes.systemInfo->language = locale;
      EXPECT_TRUE(Info::getTimeZone().ends_with(std::string(", ") + zone));
    }
  }
}

TEST_F(DeviceInfoTest, HeadphonesReadAsZeroAndTheFirstWifiInterfaceCounts) {
  EXPECT_EQ(Info::headphoneState(), 1);
  fakes.systemInfo->outputs = {"Headphones", "Speaker"};
  EXPECT_EQ(Info::headphoneState(), 0);
  fakes.systemInfo->wifi = {Dictionary{{"SSID", "first"}}, std::nullopt};
  EXPECT_EQ(Info::wifiConnected(), Dictionary({{"SSID", "first"}}));
}

}  // namespace
}  // namespace zqm::testing
