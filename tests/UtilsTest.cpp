// Settings, protected strings, JSON and text helpers, host state and network short forms.
#include "zqm/core/ZQMUtils.h"

#include "tests/support/FakePlatform.h"
#include "tests/support/Integrator.h"
#include "zqm/base/Exception.h"
#include "zqm/core/ZQMEnvironmentUtil.h"
#include "zqm/util/PropertyList.h"

namespace zqm::testing {
namespace {

class UtilsTest : public Fixture {};

TEST_F(UtilsTest, MissingSettingsReadAsEmptyAndAMissingKeyAsAbsent) {
  fakes.setSetting("START_ENVIRONMENT_URI", Value());
  EXPECT_TRUE(ZQMEnvironmentUtil::coreEnvironmentUri().isAbsent());
  fakes.setSetting("KELPO_ID", "forty-two");
  EXPECT_TRUE(ZQMEnvironmentUtil::kelpoId().isAbsent());

  fakes.packages->loaded.front().info.set("Environments", "no dictionary");
  EXPECT_EQ(ZQMEnvironmentUtil::coreEnvironmentUri(), Text(""));
  EXPECT_EQ(ZQMEnvironmentUtil::kelpoId(), Value(1));
  EXPECT_FALSE(ZQMEnvironmentUtil::isDebug());
}

TEST_F(UtilsTest, DebugSwitchTakesBooleansNumbersAndTextsByTheirFirstLetter) {
  for (const Value& value : List{"YES", "true", "  y", "9", true, 2, 0.5}) {
    fakes.setSetting("IS_DEBUG", value);
    EXPECT_TRUE(ZQMEnvironmentUtil::isDebug()) << value.textForm();
  }
  for (const Value& value : List{"NO", "01", "", " ", 0, false, List{}}) {
    fakes.setSetting("IS_DEBUG", value);
    EXPECT_FALSE(ZQMEnvironmentUtil::isDebug()) << value.textForm();
  }
}

TEST_F(UtilsTest, ProtectedStringsDecryptWithTheIntegratorsKey) {
  installKey(fakes);
  const std::string plain = "aplicação" + std::string(300, 'x');
  const std::string secure = protectedText(plain);
  EXPECT_EQ(ZQMUtils::decryptoString(secure), plain);
  for (const Text& bad : {Text(), Text(""), Text(5), Text("not base64!"), Text("AAAA")}) {
    EXPECT_EQ(ZQMUtils::decryptoString(bad), std::nullopt) << bad.textForm();
  }
  fakes.setSetting("FILE_NAME_CERTS_P12", Value());
  EXPECT_EQ(ZQMUtils::decryptoString(secure), std::nullopt);
}

TEST_F(UtilsTest, FirstFrameworkOfEitherNameGivesTheVersion) {
  fakes.packages->loaded.insert(
      fakes.packages->loaded.begin(),
      {Package{"/app/A", {{"CFBundleName", "Other"}, {"CFBundleShortVersionString", "9"}}},
       Package{"/app/B", {{"CFBundleName", "ZQMBundle"}, {"CFBundleShortVersionString", "2"}}}});
  EXPECT_EQ(ZQMUtils::getVersionName(), Text("2"));
}

TEST_F(UtilsTest, RequiredPropertyListIsReadFromItsPackageOrThrows) {
  fakes.files->put("/app/Table.plist", writePropertyList(Dictionary{{"a", 1}}).value());
  EXPECT_EQ(ZQMUtils::loadPlistWithPlistName("Table"), (Dictionary{{"a", 1}}));
  fakes.files->put("/app/ZQMCore.bundle/Table.plist", writePropertyList(List{}).value());
  EXPECT_THROW(ZQMUtils::loadPlistWithPlistName("Table", kOwnPackageIdentifier), Exception);
  EXPECT_THROW(ZQMUtils::loadPlistWithPlistName("Table", "org.unknown"), Exception);
}

TEST_F(UtilsTest, JsonTextOfAnObjectBecomesADictionaryAndAnythingElseThrows) {
  EXPECT_EQ(ZQMUtils::stringToDictionary(R"({"a":[1]})"), (Dictionary{{"a", List{1}}}));
  for (const char* text : {"", "[1]", "{} x", "\xff"}) {
    EXPECT_THROW(ZQMUtils::stringToDictionary(text), Exception) << text;
  }
}

TEST_F(UtilsTest, TextsAreJoinedStrippedAndTestedForAddresses) {
  EXPECT_EQ(ZQMUtils::mutableArrayToString({"a", "", "b c"}), "a,,b c");
  EXPECT_EQ(ZQMUtils::stripCharsFromString("abc", "[", "x"), "");
  EXPECT_TRUE(ZQMUtils::validEmail("write to Some.One+x@mail.example.org, please"));
  EXPECT_FALSE(ZQMUtils::validEmail("someone@localhost") || ZQMUtils::validEmail(Text()));
}

TEST_F(UtilsTest, HostStateAndNetworkAreReadAtEachCall) {
  fakes.hostState->state = 2;
  EXPECT_TRUE(ZQMUtils::applicationIsBackground() && !ZQMUtils::applicationIsActive());
  EXPECT_FALSE(ZQMUtils::isActiveInBackgroundMode("fetch"));
  fakes.hostState->modes = List{5, "location", "fetch"};
  EXPECT_TRUE(ZQMUtils::isActiveInBackgroundMode("fetch"));
  EXPECT_TRUE(ZQMUtils::isWifiConnected());
  fakes.network->setCellular();
  EXPECT_TRUE(ZQMUtils::isWWANConnected());
}

TEST_F(UtilsTest, MissingGroupIsSaidInTheSystemLogOnEveryCall) {
  EXPECT_TRUE(ZQMUtils::isNotificationContent());
  fakes.packages->main->info.set("NSGroupIdentifier", 5);
  EXPECT_EQ(ZQMUtils::getURLGroupContainer(), std::nullopt);
  fakes.packages->main.reset();
  EXPECT_EQ(ZQMUtils::getURLGroupContainer(), std::nullopt);
  EXPECT_FALSE(ZQMUtils::isNotificationContent());
  ASSERT_EQ(fakes.systemLog->lines.size(), 2U);
  EXPECT_EQ(fakes.systemLog->lines[0].find("NSGroupIdentifier key with invalid"), 0U);
}

}  // namespace
}  // namespace zqm::testing
