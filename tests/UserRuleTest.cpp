// The stored user record: queries, change of identifier, reset.
#include "zqm/core/ZQMUserRule.h"

#include "tests/support/FakePlatform.h"
#include "zqm/core/ZQMUserModel.h"
#include "zqm/model/ZQMDatabase.h"

namespace zqm {
namespace {

class UserRuleTest : public zqm::testing::Fixture {
 protected:
  static void saveStarted() {
    ZQMUserModel user;
    user.advertisingId = "device";
    user.appId = "app";
    user.euid = "e-1";
    user.started = true;
    user.startedDate = zqm::testing::kNow;
    user.startedSdkVersion = "1";
    ZQMDatabase::saveObject<ZQMUserModel>(user);
  }
  static ZQMUserModel stored() { return ZQMDatabase::readRecord<ZQMUserModel>().value(); }

  ZQMUserRule& rule = ZQMUserRule::sharedInstance();
};

TEST_F(UserRuleTest, AnswersFromTheStoreAtEachCall) {
  EXPECT_FALSE(rule.hasUser() || rule.isStarted());
  EXPECT_TRUE(rule.getAppId().isAbsent() && rule.getEuid().isAbsent());
  saveStarted();
  EXPECT_TRUE(rule.hasUser() && rule.isStarted());
  EXPECT_EQ(rule.getAppId(), Text("app"));
  EXPECT_EQ(rule.getEuid(), Text("e-1"));
}

TEST_F(UserRuleTest, OnlyAnotherIdentifierMakesTheNextStartRegisterAnew) {
  saveStarted();
  const auto writes = fakes.files->written.size();
  rule.setAppId("app");
  EXPECT_EQ(fakes.files->written.size(), writes);
  rule.setAppId("other");
  EXPECT_EQ(stored().appId, Text("other"));
  EXPECT_FALSE(stored().started || stored().startedDate);
  EXPECT_EQ(stored().euid, Text("e-1"));
  ZQMDatabase::remove<ZQMUserModel>();
  rule.setAppId("first");
  EXPECT_EQ(rule.getAppId(), Text("first"));
}

TEST_F(UserRuleTest, ResetForgetsTheRegistrationAndKeepsTheIdentity) {
  rule.resetUser();
  EXPECT_FALSE(rule.hasUser());
  saveStarted();
  rule.resetUser();
  EXPECT_FALSE(stored().started || stored().startedDate || stored().euid.isPresent());
  EXPECT_EQ(stored().advertisingId, Text("device"));
  EXPECT_EQ(stored().startedSdkVersion, Text("1"));
}

}  // namespace
}  // namespace zqm
