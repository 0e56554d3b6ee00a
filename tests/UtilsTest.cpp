// JSON and text helpers, host state and network short forms.
#include "zqm/core/ZQMUtils.h"

#include "tests/support/FakePlatform.h"
#include "zqm/base/Exception.h"

namespace zqm {
namespace {

class UtilsTest : public zqm::testing::Fixture {};

TEST_F(UtilsTest, JsonTextOfAnObjectBecomesADictionaryAndAnythingElseThrows) {
  EXPECT_EQ(ZQMUtils::stringToDictionary(R"({"a":{"b":[1,null]}})")["a"].dictionary()->size(), 1U);
  for (const char* text : {"", "[1]", "5", "{", "{} x", "\xff"}) {
    try {
      ZQMUtils::stringToDictionary(text);
      FAIL() << text;
    } catch (const Exception& exception) {
      EXPECT_NE(exception.name().find("JSON"), std::string::npos);
      EXPECT_NE(exception.reason().find(*text == '[' || *text == '5' ? "object" : "byte"),
                std::string::npos)
          << exception.reason();
      EXPECT_TRUE(exception.userInfo()["NSUnderlyingError"].text());
    }
  }
  EXPECT_EQ(ZQMUtils::mutableDictionaryToJson({{"b", 1}, {"a", "ç"}}), R"({"b":1,"a":"ç"})");
  EXPECT_EQ(ZQMUtils::mutableDictionaryToJson({{"raw", Bytes{1}}}), "");
}

TEST_F(UtilsTest, TextsAreJoinedStrippedAndTestedForAddresses) {
  EXPECT_EQ(ZQMUtils::mutableArrayToString({}), "");
  EXPECT_EQ(ZQMUtils::mutableArrayToString({"a", "", "b c"}), "a,,b c");
  EXPECT_EQ(ZQMUtils::stripCharsFromString("aBc1", "[a-z]", ""), "1");
  EXPECT_EQ(ZQMUtils::stripCharsFromString("ab", "(a)(b)", "$2-$1"), "b-a");
  EXPECT_EQ(ZQMUtils::stripCharsFromString("abc", "[", "x"), "");
  EXPECT_TRUE(ZQMUtils::validEmail("write to Some.One+x@mail.example.org, please"));
  EXPECT_FALSE(ZQMUtils::validEmail("someone@localhost"));
  EXPECT_FALSE(ZQMUtils::validEmail(""));
  EXPECT_FALSE(ZQMUtils::validEmail(Text()));
  EXPECT_EQ(ZQMUtils::dataToString(Bytes{0xc3}), std::nullopt);
  EXPECT_EQ(ZQMUtils::dataToString(Bytes{}), "");
}

TEST_F(UtilsTest, HostStateAndBackgroundModesAreReadAtEachCall) {
  EXPECT_TRUE(ZQMUtils::applicationIsActive());
  fakes.hostState->state = 2;
  EXPECT_TRUE(ZQMUtils::applicationIsBackground());
  EXPECT_FALSE(ZQMUtils::applicationIsActive() || ZQMUtils::applicationIsInactive());
  EXPECT_FALSE(ZQMUtils::isActiveInBackgroundMode("fetch"));
  fakes.hostState->modes = List{5, "location", "fetch"};
  EXPECT_TRUE(ZQMUtils::isActiveInBackgroundMode("fetch"));
  EXPECT_FALSE(ZQMUtils::isActiveInBackgroundMode("Fetch"));
}

TEST_F(UtilsTest, MissingGroupIsSaidInTheSystemLogOnEveryCall) {
  EXPECT_EQ(ZQMUtils::getURLGroupContainer(), "/groups/group.example");
  EXPECT_TRUE(ZQMUtils::isNotificationContent());
  EXPECT_TRUE(fakes.systemLog->lines.empty());
  fakes.packages->main->info.set("NSGroupIdentifier", 5);
  EXPECT_TRUE(ZQMUtils::isNotificationContent());
  EXPECT_EQ(ZQMUtils::getURLGroupContainer(), std::nullopt);
  fakes.packages->main.reset();
  EXPECT_EQ(ZQMUtils::getURLGroupContainer(), std::nullopt);
  EXPECT_FALSE(ZQMUtils::isNotificationContent());
  ASSERT_EQ(fakes.systemLog->lines.size(), 2U);
  EXPECT_EQ(fakes.systemLog->lines[0].find("NSGroupIdentifier key with invalid"), 0U);
}

TEST_F(UtilsTest, NetworkStatusTellsCellularFromWifi) {
  EXPECT_TRUE(ZQMUtils::isWifiConnected());
  fakes.network->setCellular();
  EXPECT_TRUE(ZQMUtils::isWWANConnected());
  EXPECT_FALSE(ZQMUtils::isWifiConnected());
  fakes.network->setOffline();
  EXPECT_TRUE(ZQMUtils::isNotReachable());
}

}  // namespace
}  // namespace zqm
