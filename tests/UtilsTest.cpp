// Settings, protected strings, JSON and text helpers, host state and network short forms.
#include "zqm/core/ZQMUtils.h"

#include "tests/support/FakePlatform.h"
#include "tests/support/Integrator.h"
#include "zqm/core/settings/ZQMEnvironmentUtil.h"

namespace zqm::testing {
namespace {

class UtilsTest : public Fixture {};

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
  const std::string secure = protectedText("aplicação");
  EXPECT_EQ(ZQMUtils::decryptoString(secure), "aplicação");
  for (const Text& bad : {Text(), Text(""), Text(5), Text("AAAA")}) {
    EXPECT_EQ(ZQMUtils::decryptoString(bad), std::nullopt) << bad.textForm();
  }
  fakes.setSetting("FILE_NAME_CERTS_P12", Value());
  EXPECT_EQ(ZQMUtils::decryptoString(secure), std::nullopt);
}

TEST_F(UtilsTest, AddressIsFoundAnywhereInAText) {
  EXPECT_TRUE(ZQMUtils::validEmail("write to Some.One+x@mail.example.org, please"));
  EXPECT_FALSE(ZQMUtils::validEmail("someone@localhost") || ZQMUtils::validEmail(Text()));
}

TEST_F(UtilsTest, BackgroundModesMayBeAnything) {
  EXPECT_FALSE(ZQMUtils::isActiveInBackgroundMode("fetch"));
  fakes.hostState->modes = List{5, "location", "fetch"};
  EXPECT_TRUE(ZQMUtils::isActiveInBackgroundMode("fetch"));
}

}  // namespace
}  // namespace zqm::testing
