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
  fakes.packages->main.reset();
  EXPECT_TRUE(ZQMDebugInfo::getAppBundleIdentifier().isAbsent());
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
}

}  // namespace
}  // namespace zqm
