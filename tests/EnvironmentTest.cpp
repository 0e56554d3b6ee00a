// The integrator's settings and the protected strings.
#include "zqm/core/ZQMEnvironmentUtil.h"

#include "tests/support/FakePlatform.h"
#include "tests/support/Integrator.h"
#include "zqm/base/Exception.h"
#include "zqm/core/ZQMUtils.h"
#include "zqm/util/PropertyList.h"

namespace zqm {
namespace {

using zqm::testing::installKey;
using zqm::testing::protectedText;

class EnvironmentTest : public zqm::testing::Fixture {};

TEST_F(EnvironmentTest, MissingSettingsReadAsEmptyAndAMissingKeyAsAbsent) {
  EXPECT_EQ(ZQMEnvironmentUtil::coreEnvironmentUri(), Text("http://backend.test/start/"));
  EXPECT_EQ(ZQMEnvironmentUtil::reportInboxEnvironmentUri(),
            ZQMEnvironmentUtil::reportEnvironmentUri());
  fakes.setSetting("START_ENVIRONMENT_URI", Value());
  EXPECT_TRUE(ZQMEnvironmentUtil::coreEnvironmentUri().isAbsent());
  fakes.setSetting("START_ENVIRONMENT_URI", 5);
  EXPECT_EQ(ZQMEnvironmentUtil::coreEnvironmentUri(), Text(5));

  fakes.packages->loaded.front().info.set("Environments", "no dictionary");
  EXPECT_FALSE(ZQMEnvironmentUtil::environment().has_value());
  EXPECT_EQ(ZQMEnvironmentUtil::coreEnvironmentUri(), Text(""));
  EXPECT_EQ(ZQMEnvironmentUtil::filePasswordCertsP12(), Text(""));
  EXPECT_EQ(ZQMEnvironmentUtil::kelpoId(), Value(1));
  EXPECT_FALSE(ZQMEnvironmentUtil::isDebug());
}

TEST_F(EnvironmentTest, IntegrationIdentifierIsReadInTheCurrentLocale) {
  EXPECT_EQ(ZQMEnvironmentUtil::kelpoId(), Value(42));
  fakes.setSetting("KELPO_ID", "1.234,5");
  EXPECT_EQ(ZQMEnvironmentUtil::kelpoId(), Value(1234.5));
  fakes.setSetting("KELPO_ID", "forty-two");
  EXPECT_TRUE(ZQMEnvironmentUtil::kelpoId().isAbsent());
}

TEST_F(EnvironmentTest, DebugSwitchTakesBooleansNumbersAndTextsByTheirFirstLetter) {
  const std::vector<std::pair<Value, bool>> cases = {
      {"YES", true}, {"true", true}, {"  y", true}, {"9", true},    {true, true},
      {2, true},     {0.5, true},    {"NO", false}, {"0", false},   {"01", false},
      {"", false},   {" ", false},   {0, false},    {false, false}, {List{}, false}};
  for (const auto& [value, expected] : cases) {
    fakes.setSetting("IS_DEBUG", value);
    EXPECT_EQ(ZQMEnvironmentUtil::isDebug(), expected) << value.textForm();
  }
}

TEST_F(EnvironmentTest, ProtectedStringsDecryptWithTheIntegratorsKey) {
  installKey(fakes);
  const std::string longText(300, 'x');
  EXPECT_EQ(ZQMUtils::decryptoString(protectedText("aplicação")), "aplicação");
  EXPECT_EQ(ZQMUtils::decryptoString(protectedText(longText)), longText);
  for (const Text& bad :
       {Text(), Text(""), Text(5), Text("not base64!"), Text("AAAA"), Text(protectedText(""))}) {
    EXPECT_EQ(ZQMUtils::decryptoString(bad), std::nullopt) << bad.textForm();
  }
  fakes.setSetting("FILE_PASSWORD_CERTS_P12", "wrong");
  EXPECT_EQ(ZQMUtils::decryptoString(protectedText("x")), std::nullopt);
  fakes.setSetting("FILE_PASSWORD_CERTS_P12", zqm::testing::integrator().password);
  fakes.files->put("/app/ZQMCore.bundle/integrator.p12", toBytes("damaged"));
  EXPECT_EQ(ZQMUtils::decryptoString(protectedText("x")), std::nullopt);
  fakes.setSetting("FILE_NAME_CERTS_P12", Value());
  EXPECT_EQ(ZQMUtils::decryptoString(protectedText("x")), std::nullopt);
}

TEST_F(EnvironmentTest, FirstFrameworkOfEitherNameGivesTheVersion) {
  EXPECT_EQ(ZQMUtils::getVersionName(), Text("1.2.3"));
  fakes.packages->loaded.insert(
      fakes.packages->loaded.begin(),
      {Package{"/app/A", {{"CFBundleName", "Other"}, {"CFBundleShortVersionString", "9"}}},
       Package{"/app/B", {{"CFBundleName", "ZQMBundle"}, {"CFBundleShortVersionString", "2"}}}});
  EXPECT_EQ(ZQMUtils::getVersionName(), Text("2"));
  fakes.packages->loaded.clear();
  EXPECT_EQ(ZQMUtils::getVersionName(), Text(""));
}

TEST_F(EnvironmentTest, RequiredPropertyListIsReadFromItsPackageOrThrows) {
  fakes.files->put("/app/Table.plist", writePropertyList(Dictionary{{"a", 1}}).value());
  EXPECT_EQ(ZQMUtils::loadPlistWithPlistName("Table"), (Dictionary{{"a", 1}}));
  fakes.files->put("/app/ZQMCore.bundle/Table.plist", writePropertyList(List{}).value());
  try {
    ZQMUtils::loadPlistWithPlistName("Table", kOwnPackageIdentifier);
    FAIL();
  } catch (const Exception& exception) {
    EXPECT_EQ(exception.name(), "FileNotFoundException");
    EXPECT_EQ(exception.reason(),
              "Table property list not found. This file is required to start the framework "
              "settings.");
  }
  EXPECT_THROW(ZQMUtils::loadPlistWithPlistName("Table", "org.unknown"), Exception);
}

}  // namespace
}  // namespace zqm
