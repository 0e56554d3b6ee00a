// ZQMDeviceInfo: the rules of each probe.
#include "zqm/device/ZQMDeviceInfo.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>

#include "tests/support/FakePlatform.h"

namespace zqm {
namespace {

using testing::FakeFiles;
using Info = ZQMDeviceInfo;

constexpr std::int64_t kMebi = 1LL << 20;
constexpr std::int64_t kGibi = 1LL << 30;
constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

class DeviceInfoTest : public testing::Fixture {
 protected:
  void putModel(const std::string& model) {
    const std::string table = "<plist version=\"1.0\"><dict><key>model1,1</key><string>" + model +
                              "</string></dict></plist>";
    fakes.files->put("/app/ZQMCore.bundle/Devices.plist", toBytes(table));
  }
};

TEST_F(DeviceInfoTest, ScalesByMagnitude) {
  EXPECT_EQ(Info::formatMemory(kGibi), 1.0);
  EXPECT_EQ(Info::formatMemory(kGibi - 1), (1073741824.0 - 1) / 1048576.0);
  EXPECT_EQ(Info::formatMemory(kMebi), 1.0);
  EXPECT_EQ(Info::formatMemory(kMebi - 1), 1048575.0);
  EXPECT_EQ(Info::formatMemory(0), -1.0);
  EXPECT_EQ(Info::formatMemory(std::numeric_limits<std::int64_t>::min()), -1.0);
}

TEST_F(DeviceInfoTest, MeasuresStorageAndKnowsNoShareBelowOnePercent) {
  struct Case {
    FileSystemSpace space;
    double used, usedPercent, free, freePercent;
  };
  const Case cases[] = {
      {{200 * kGibi, 50 * kGibi}, 150, 75, 50, 25},
      {{300, 200}, 100, 33, 200, 66},
      {{200 * kGibi, kGibi}, 199, 99, 1, -1},
      {{200 * kGibi, 199 * kGibi}, 1, -1, 199, 99},
      {{0, kGibi}, -1, -1, 1, -1},
      {{kGibi, 0}, -1, -1, -1, -1},
      {{-5, -5}, -1, -1, -1, -1},
      {{kGibi, 2 * kGibi}, -1, -1, 2, 200},
      {{kLargest, kLargest / 2}, 4294967296.0, 50, 4294967296.0, 50},
      {{1, kLargest}, -1, -1, 8589934592.0, 9223372036854775808.0},
  };
  for (const Case& expected : cases) {
    SCOPED_TRACE(expected.space.size);
    fakes.memory->space = expected.space;
    EXPECT_EQ(Info::userDiskSpaceUsed(false), expected.used);
    EXPECT_EQ(Info::userDiskSpaceUsed(true), expected.usedPercent);
    EXPECT_EQ(Info::userDiskSpaceFree(false), expected.free);
    EXPECT_EQ(Info::userDiskSpaceFree(true), expected.freePercent);
  }
  fakes.memory->space.reset();
  EXPECT_EQ(Info::userDiskSpaceTotal(), -1.0);
  EXPECT_EQ(Info::userDiskSpaceFree(true), -1.0);
}

TEST_F(DeviceInfoTest, RoundsMemoryToMultiplesOf256) {
  const auto total = [this](std::uint64_t mebibytes) {
    fakes.memory->physical = mebibytes << 20;
    return Info::userMemoryTotal();
  };
  EXPECT_EQ(total(2048), 2048.0);
  EXPECT_EQ(total(2175), 2048.0);
  EXPECT_EQ(total(2176), 2304.0);
  EXPECT_EQ(total(2900), 2816.0);
  EXPECT_EQ(total(3755), 3840.0);
  EXPECT_EQ(total(127), -1.0);
  EXPECT_EQ(total(0), -1.0);
  fakes.memory->physical = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(Info::userMemoryTotal(), 2147483648.0);
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
  EXPECT_EQ(Info::userMemoryFree(false), 4096.0);
  fakes.memory->physical = 0;
  EXPECT_EQ(Info::userMemoryUsed(true), -1.0);
  EXPECT_EQ(Info::userMemoryFree(true), -1.0);
  fakes.memory->pages.reset();
  EXPECT_EQ(Info::userMemoryUsed(false), -1.0);
  EXPECT_EQ(Info::userMemoryFree(false), -1.0);
}

TEST_F(DeviceInfoTest, CutsTheBatteryLevelAndSwitchesMonitoringOnByItself) {
  for (const auto& [charge, level] :
       std::map<float, std::int64_t>{{-1.0F, -100}, {0.5F, 50}, {0.999F, 99}, {3e38F, kLargest}}) {
    fakes.power->charge = charge;
    EXPECT_EQ(Info::batteryLevel(), level);
  }
  fakes.power->charge = std::nanf("");
  EXPECT_EQ(Info::batteryLevel(), 0);
  fakes.power->monitored = false;
  fakes.power->status = 3;
  EXPECT_TRUE(Info::isBatteryCharging());
}

TEST_F(DeviceInfoTest, NamesNoModelWithoutAReadableTable) {
  EXPECT_EQ(Info::deviceModel(), std::nullopt);
  putModel("Model One");
  EXPECT_EQ(Info::deviceModel(), "Model One");
  fakes.surroundings->code = "unlisted";
  EXPECT_EQ(Info::deviceModel(), std::nullopt);
}

TEST_F(DeviceInfoTest, LooksForModificationsInTwoOrdersAndThenTriesToWrite) {
  FakeFiles& files = *fakes.systemFiles;
  files.readOnly = true;
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
  putModel("Simulador");
  EXPECT_FALSE(Info::isJailbreak());
}

TEST_F(DeviceInfoTest, NamesTheZoneInTheCurrentLocaleAndSurvivesUnusableOnes) {
  EXPECT_EQ(Info::getTimeZone(), "Horário Padrão de Brasília, America/Sao_Paulo");
  fakes.surroundings->language = "en_US";
  // The standard name in every half of the year.
  fakes.surroundings->zone = "Europe/Berlin";
  EXPECT_EQ(Info::getTimeZone(), "Central European Standard Time, Europe/Berlin");
  for (const char* zone : {"", "Nowhere/Nothing", "\xff\xfe"}) {
    for (const char* locale : {"", "@@@", "xx_YY_ZZ_and_far_too_much_that_is_no_locale"}) {
      fakes.surroundings->zone = zone;
      fakes.surroundings->language = locale;
      EXPECT_TRUE(Info::getTimeZone().ends_with(std::string(", ") + zone));
    }
  }
}

TEST_F(DeviceInfoTest, ReadsCarrierAudioWifiAndFeaturesByTheirOrder) {
  testing::FakeSurroundings& around = *fakes.surroundings;
  EXPECT_EQ(Info::getCarrier(), "");
  around.subscriber = CellularSubscriber{};
  EXPECT_EQ(Info::getCarrier(), std::nullopt);
  EXPECT_EQ(Info::headphoneState(), 1);
  around.outputs = {"Headphones", "Speaker"};
  EXPECT_EQ(Info::headphoneState(), 0);
  around.outputs = {std::nullopt, "Headphones"};
  EXPECT_EQ(Info::headphoneState(), 1);
  around.wifi = {Dictionary{{"SSID", "first"}}, std::nullopt};
  EXPECT_EQ(Info::wifiConnected(), around.wifi.front());
  around.wifi = {std::nullopt, Dictionary()};
  EXPECT_EQ(Info::wifiConnected(), Dictionary());
  around.features = {AccessibilityFeature::speakSelection, AccessibilityFeature::assistiveTouch};
  EXPECT_EQ(Info::getCapabilitiesAccessibility(),
            (std::vector<std::string>{"ASSISTIVE_TOUCH", "SPEAK_SELECTION"}));
}

}  // namespace
}  // namespace zqm
