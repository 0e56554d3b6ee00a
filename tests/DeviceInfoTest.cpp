// ZQMDeviceInfo: the rules of each probe.
#include "zqm/device/ZQMDeviceInfo.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/FakePlatform.h"

namespace zqm {
namespace {

using Info = ZQMDeviceInfo;

constexpr std::int64_t kMebi = 1LL << 20;
constexpr std::int64_t kGibi = 1LL << 30;
constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

class DeviceInfoTest : public testing::Fixture {
 protected:
  void putDevices(std::string_view content) {
    fakes.files->put("/app/ZQMCore.bundle/Devices.plist", toBytes(content));
  }
  void putModel(const std::string& model) {
    putDevices("<plist version=\"1.0\"><dict><key>model1,1</key><string>" + model +
               "</string></dict></plist>");
  }
  void setSpace(std::int64_t size, std::int64_t free) {
    fakes.memory->space = FileSystemSpace{size, free};
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

TEST_F(DeviceInfoTest, MeasuresStorage) {
  setSpace(200 * kGibi, 50 * kGibi);
  EXPECT_EQ(Info::userDiskSpaceTotal(), 200.0);
  EXPECT_EQ(Info::userDiskSpaceUsed(false), 150.0);
  EXPECT_EQ(Info::userDiskSpaceUsed(true), 75.0);
  EXPECT_EQ(Info::userDiskSpaceFree(false), 50.0);
  EXPECT_EQ(Info::userDiskSpaceFree(true), 25.0);
  setSpace(300, 200);
  EXPECT_EQ(Info::userDiskSpaceUsed(true), 33.0);
  EXPECT_EQ(Info::userDiskSpaceFree(true), 66.0);
}

TEST_F(DeviceInfoTest, KnowsNoStorageShareBelowOnePercent) {
  setSpace(200 * kGibi, kGibi);
  EXPECT_EQ(Info::userDiskSpaceFree(true), -1.0);
  EXPECT_EQ(Info::userDiskSpaceFree(false), 1.0);
  setSpace(200 * kGibi, 199 * kGibi);
  EXPECT_EQ(Info::userDiskSpaceUsed(true), -1.0);
}

TEST_F(DeviceInfoTest, AnswersUnknownForImpossibleStorage) {
  fakes.memory->space.reset();
  EXPECT_EQ(Info::longDiskSpace(), -1);
  EXPECT_EQ(Info::longFreeDiskSpace(), -1);
  EXPECT_EQ(Info::userDiskSpaceTotal(), -1.0);
  const FileSystemSpace impossible[] = {{0, kGibi}, {kGibi, 0}, {kGibi, -5}, {-5, kGibi}};
  for (const FileSystemSpace& space : impossible) {
    setSpace(space.size, space.free);
    EXPECT_EQ(Info::userDiskSpaceUsed(true), -1.0);
    EXPECT_EQ(Info::userDiskSpaceUsed(false), -1.0);
    EXPECT_EQ(Info::userDiskSpaceFree(true), -1.0);
  }
  setSpace(kGibi, 2 * kGibi);
  EXPECT_EQ(Info::userDiskSpaceUsed(false), -1.0);
  EXPECT_EQ(Info::userDiskSpaceFree(true), 200.0);
}

TEST_F(DeviceInfoTest, HoldsTheLargestStorage) {
  setSpace(kLargest, kLargest / 2);
  EXPECT_EQ(Info::userDiskSpaceUsed(true), 50.0);
  EXPECT_EQ(Info::userDiskSpaceFree(true), 50.0);
  setSpace(1, kLargest);
  EXPECT_EQ(Info::userDiskSpaceFree(true), static_cast<double>(static_cast<float>(kLargest)));
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

TEST_F(DeviceInfoTest, MeasuresMemoryByPages) {
  // 4096 pages of 4 KiB used with the statistics' size, 1024 pages of 16 KiB free with the other.
  fakes.memory->pages = MemoryPages{1024, 2048, 1024, 1024, 4096, 16384};
  EXPECT_EQ(Info::userMemoryUsed(false), 16.0);
  EXPECT_EQ(Info::userMemoryUsed(true), 16 * 100.0 / 2048);
  EXPECT_EQ(Info::userMemoryFree(false), 16.0);
  EXPECT_EQ(Info::userMemoryFree(true), 100.0 * 16 / 2048);
  fakes.memory->physical = 0;
  EXPECT_EQ(Info::userMemoryUsed(true), -1.0);
  EXPECT_EQ(Info::userMemoryFree(true), -1.0);
  fakes.memory->pages.reset();
  EXPECT_EQ(Info::userMemoryUsed(false), -1.0);
  EXPECT_EQ(Info::userMemoryFree(false), -1.0);
}

TEST_F(DeviceInfoTest, WrapsUsedMemoryAtFourGibibytes) {
  fakes.memory->pages = MemoryPages{1U << 20, 1U << 20, 256, 0, 4096, 4096};
  EXPECT_EQ(Info::userMemoryUsed(false), 1.0);
  EXPECT_EQ(Info::userMemoryFree(false), 4096.0);
}

TEST_F(DeviceInfoTest, CutsTheBatteryLevelAfterSwitchingMonitoringOn) {
  const auto level = [this](float charge) {
    fakes.power->charge = charge;
    return Info::batteryLevel();
  };
  EXPECT_EQ(level(0.5F), 50);
  EXPECT_TRUE(fakes.power->monitored);
  EXPECT_EQ(level(0.999F), 99);
  EXPECT_EQ(level(-1.0F), -100);
  EXPECT_EQ(level(std::nanf("")), 0);
  EXPECT_EQ(level(3e38F), kLargest);
  for (const std::int64_t state : {0, 1, 2, 3, 4}) {
    fakes.power->status = state;
    fakes.power->monitored = false;
    EXPECT_EQ(Info::isBatteryCharging(), state == 2 || state == 3);
    EXPECT_EQ(Info::batteryStatus(), state);
  }
  EXPECT_EQ(Info::batteryTemperature(), 0);
}

TEST_F(DeviceInfoTest, NamesTheModelFromTheTable) {
  EXPECT_EQ(Info::deviceCode(), "model1,1");
  EXPECT_EQ(Info::deviceModel(), std::nullopt);
  putModel("Model One");
  EXPECT_EQ(Info::deviceModel(), "Model One");
  putDevices("<plist version=\"1.0\"><dict/></plist>");
  EXPECT_EQ(Info::deviceModel(), std::nullopt);
  putDevices("damaged");
  EXPECT_EQ(Info::deviceModel(), std::nullopt);
}

TEST_F(DeviceInfoTest, LooksForModificationsInTwoOrdersAndThenTriesToWrite) {
  fakes.systemFiles->readOnly = true;
  EXPECT_FALSE(Info::isJailbreak());
  EXPECT_EQ(fakes.systemFiles->existenceChecks,
            (std::vector<std::string>{"/Applications/Cydia.app",
                                      "/Library/MobileSubstrate/MobileSubstrate.dylib", "/bin/bash",
                                      "/usr/sbin/sshd", "/etc/apt", "/private/var/lib/apt/"}));
  EXPECT_EQ(fakes.systemFiles->openChecks,
            (std::vector<std::string>{"/bin/bash", "/Applications/Cydia.app",
                                      "/Library/MobileSubstrate/MobileSubstrate.dylib",
                                      "/usr/sbin/sshd", "/etc/apt"}));
  EXPECT_EQ(fakes.systemFiles->removed, std::vector<std::string>{"/private/jailbreak.txt"});
}

TEST_F(DeviceInfoTest, LeavesTheFileThatItCouldWrite) {
  fakes.systemFiles->readOnly = false;
  EXPECT_TRUE(Info::isJailbreak());
  EXPECT_EQ(fakes.systemFiles->read("/private/jailbreak.txt"), toBytes("Jailbreak Test."));
  EXPECT_TRUE(fakes.systemFiles->removed.empty());
}

TEST_F(DeviceInfoTest, StopsAtTheFirstSignOfModification) {
  fakes.systemFiles->put("/bin/bash", {});
  EXPECT_TRUE(Info::isJailbreak());
  EXPECT_EQ(fakes.systemFiles->existenceChecks.size(), 3U);
  EXPECT_TRUE(fakes.systemFiles->written.empty());
  putModel("Simulador");
  fakes.systemFiles->existenceChecks.clear();
  EXPECT_FALSE(Info::isJailbreak());
  EXPECT_TRUE(fakes.systemFiles->existenceChecks.empty());
}

TEST_F(DeviceInfoTest, HearsWiredHeadphonesOnlyAtTheFirstOutput) {
  const auto state = [this](std::vector<std::optional<std::string>> outputs) {
    fakes.surroundings->outputs = std::move(outputs);
    return Info::headphoneState();
  };
  EXPECT_EQ(state({}), 1);
  EXPECT_EQ(state({"Headphones", "Speaker"}), 0);
  EXPECT_EQ(state({"Speaker", "Headphones"}), 1);
  EXPECT_EQ(state({std::nullopt}), 1);
}

TEST_F(DeviceInfoTest, ReadsTheFirstWifiInterfaceThatHasInformation) {
  const Dictionary first = {{"SSID", "first"}};
  const auto connected = [this](std::vector<std::optional<Dictionary>> interfaces) {
    fakes.surroundings->wifi = std::move(interfaces);
    return Info::wifiConnected();
  };
  EXPECT_EQ(connected({}), std::nullopt);
  EXPECT_EQ(connected({std::nullopt, first, Dictionary{{"SSID", "second"}}}), first);
  EXPECT_EQ(connected({std::nullopt, Dictionary()}), Dictionary());
  EXPECT_EQ(connected({Dictionary(), std::nullopt}), std::nullopt);
}

TEST_F(DeviceInfoTest, TellsCarrierZoneLocaleAndFeatures) {
  EXPECT_EQ(Info::getCarrier(), "");
  fakes.surroundings->subscriber = CellularSubscriber{"Carrier"};
  EXPECT_EQ(Info::getCarrier(), "Carrier");
  fakes.surroundings->subscriber = CellularSubscriber{};
  EXPECT_EQ(Info::getCarrier(), std::nullopt);

  EXPECT_EQ(Info::getTimeZone(), "Horário Padrão de Brasília, America/Sao_Paulo");
  fakes.surroundings->language = "en_US";
  EXPECT_EQ(Info::getTimeZone(), "Brasilia Standard Time, America/Sao_Paulo");
  EXPECT_EQ(Info::getLocale(), "en_US");
  // The standard name also in the half of the year in which another one is in use.
  fakes.surroundings->zone = "Europe/Berlin";
  EXPECT_EQ(Info::getTimeZone(), "Central European Standard Time, Europe/Berlin");

  fakes.surroundings->features = {AccessibilityFeature::speakSelection,
                                  AccessibilityFeature::grayscale,
                                  AccessibilityFeature::assistiveTouch};
  EXPECT_EQ(Info::getCapabilitiesAccessibility(),
            (std::vector<std::string>{"ASSISTIVE_TOUCH", "GRAYSCALE", "SPEAK_SELECTION"}));
}

TEST_F(DeviceInfoTest, SurvivesUnusableZonesAndLocales) {
  for (const char* zone : {"", "Nowhere/Nothing", "\xff\xfe", "America/Sao_Paulo\n"}) {
    for (const char* locale : {"", "C", "@@@", "xx_YY_ZZ_and_far_too_much_that_is_no_locale"}) {
      fakes.surroundings->zone = zone;
      fakes.surroundings->language = locale;
      EXPECT_TRUE(Info::getTimeZone().ends_with(std::string(", ") + zone));
    }
  }
}

TEST_F(DeviceInfoTest, IdentifiesDeviceAndUser) {
  EXPECT_EQ(Info::getPlatform(), "IOS");
  EXPECT_EQ(Info::getUDID(), fakes.identity->vendor);
  EXPECT_EQ(Info::advertisingId(), fakes.identity->advertising);
  for (const std::int32_t authorization : {0, 1, 2, 3, 4}) {
    fakes.hostState->authorization = authorization;
    EXPECT_EQ(Info::hasAdvertising(), authorization == 3);
  }
}

}  // namespace
}  // namespace zqm
