// ZQMDebugInfo: the facts of a report.
#include "zqm/log/ZQMDebugInfo.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/FakePlatform.h"

namespace zqm {
namespace {

class DebugInfoTest : public testing::Fixture {};

TEST_F(DebugInfoTest, ReadsTheHostsPackageAfreshAtEachCall) {
  EXPECT_EQ(ZQMDebugInfo::getAppBundleIdentifier(), "org.example.host");
  EXPECT_EQ(ZQMDebugInfo::getAppVersionName(), "3.1");
  EXPECT_EQ(ZQMDebugInfo::getAppVersionCode(), "310");
  EXPECT_EQ(ZQMDebugInfo::getSdkVersion(), "1.2.3");
  fakes.packages->main->info.set("CFBundleVersion", Value());
  EXPECT_TRUE(ZQMDebugInfo::getAppVersionCode().isAbsent());
  fakes.packages->main.reset();
  EXPECT_TRUE(ZQMDebugInfo::getAppBundleIdentifier().isAbsent());
}

TEST_F(DebugInfoTest, MeasuresInPercent) {
  EXPECT_EQ(ZQMDebugInfo::getStoragePercentageFree(), 25.0);
  fakes.memory->pages = MemoryPages{1024, 0, 0, 0, 1, 4096};
  EXPECT_EQ(ZQMDebugInfo::getMemoryPercentageFree(), 100.0 * 4 / 2048);
  fakes.memory->space.reset();
  EXPECT_EQ(ZQMDebugInfo::getStoragePercentageFree(), -1.0);
}

TEST_F(DebugInfoTest, TellsAnUnknownBatteryFromAnEmptyOne) {
  const auto percentage = [this](float charge) {
    fakes.power->charge = charge;
    return ZQMDebugInfo::getBatteryPercentage();
  };
  EXPECT_EQ(percentage(0.0F), 0);
  EXPECT_EQ(percentage(0.999F), 99);
  EXPECT_EQ(percentage(-1.0F), -100);
  EXPECT_EQ(percentage(1e30F), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(ZQMDebugInfo::getBatteryTemperature(), std::nullopt);
}

TEST_F(DebugInfoTest, KnowsTheCodeOfHardwareThatIsNotListed) {
  EXPECT_EQ(ZQMDebugInfo::getDeviceModel(), std::nullopt);
  EXPECT_EQ(ZQMDebugInfo::getDeviceCodename(), "model1,1");
  EXPECT_EQ(ZQMDebugInfo::getDeviceManufacturer(), "Apple Inc.");
  EXPECT_EQ(ZQMDebugInfo::getSystemVersion(), "12");
}

}  // namespace
}  // namespace zqm
