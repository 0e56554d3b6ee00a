// The decision whether a start request is due.
#include "zqm/core/StartDecision.h"

#include "tests/support/FakePlatform.h"
#include "zqm/util/Date.h"

namespace zqm {
namespace {

using Outcome = StartDecision::Outcome;
using zqm::testing::kNow;

class StartDecisionTest : public zqm::testing::Fixture {
 protected:
  StartDecisionTest() {
    ZQMUserModel user;
    user.advertisingId = "device";
    user.appId = "app";
    user.euid = "e-1";
    user.started = true;
    user.startedDate = kNow;
    user.startedSdkVersion = "1.2.3";
    user.startedAppVersion = "3.1";
    facts = {user, "device", "protected", "app", "1.2.3", "3.1", kNow};
  }

  void expect(Outcome outcome, StartReason reason) const {
    const StartDecision decision = startDecision(facts);
    EXPECT_EQ(decision.outcome, outcome);
    EXPECT_EQ(decision.reason, reason) << describe(decision.reason);
  }

  StartFacts facts;
};

TEST_F(StartDecisionTest, AcceptedStartRestsWhileIdentifierAndVersionsStay) {
  facts.now = kNow + std::chrono::years(5);
  expect(Outcome::notDue, StartReason::accepted);
  facts.plainAppId = "another";
  expect(Outcome::notDue, StartReason::accepted);
  facts.plainAppId.reset();
  expect(Outcome::notDue, StartReason::accepted);
  facts.deviceAdvertisingId = "changed";
  expect(Outcome::due, StartReason::advertisingIdChanged);
  facts.deviceAdvertisingId = "device";
  facts.sdkVersion = "1.2.4";
  expect(Outcome::due, StartReason::sdkVersionChanged);
  facts.user->startedSdkVersion = Text();
  facts.sdkVersion = Text();
  expect(Outcome::due, StartReason::sdkVersionChanged);
  facts.user->startedSdkVersion = facts.sdkVersion = "1.2.4";
  facts.appVersion = "3.2";
  expect(Outcome::due, StartReason::appVersionChanged);
}

TEST_F(StartDecisionTest, RefusedStartIsRetriedAfterADayAndTheFullDayCounts) {
  facts.user->started = false;
  facts.now = addDay(kNow, 1) - std::chrono::milliseconds(1);
  expect(Outcome::notDue, StartReason::attemptedWithinADay);
  facts.now = addDay(kNow, 1);
  expect(Outcome::due, StartReason::lastAttemptADayAgo);
  facts.user->startedDate.reset();
  facts.now = kNow;
  expect(Outcome::due, StartReason::neverAttempted);
}

TEST_F(StartDecisionTest, FirstStartNeedsBothIdentifiers) {
  facts.user.reset();
  const StartDecision first = startDecision(facts);
  EXPECT_EQ(first.outcome, Outcome::due);
  EXPECT_EQ(first.user.appId, Text("app"));
  EXPECT_FALSE(first.user.started);
  facts.deviceAdvertisingId = "";
  expect(Outcome::impossible, StartReason::noAdvertisingId);
  facts.deviceAdvertisingId = "device";
  facts.plainAppId.reset();
  expect(Outcome::impossible, StartReason::appIdNotDecryptable);
  facts.plainAppId = "protected";
  expect(Outcome::impossible, StartReason::appIdNotProtected);
}

TEST_F(StartDecisionTest, StoredIdentifiersStandInForMissingOnes) {
  facts.user->startedDate.reset();
  facts.deviceAdvertisingId = "";
  facts.plainAppId = "";
  const StartDecision decision = startDecision(facts);
  EXPECT_EQ(decision.advertisingId, Text("device"));
  EXPECT_EQ(decision.appId, Text("app"));
  // An identifier that does not decrypt is absent, not empty: nothing stands in for it.
  facts.plainAppId.reset();
  EXPECT_EQ(startDecision(facts).outcome, Outcome::due);
  EXPECT_TRUE(startDecision(facts).appId.isAbsent());
  facts.user->advertisingId = Text();
  expect(Outcome::impossible, StartReason::noAdvertisingId);
}

TEST_F(StartDecisionTest, PlainIdentifierIsRefusedEvenForAnAcceptedInstallation) {
  facts.appId = "app";
  expect(Outcome::impossible, StartReason::appIdNotProtected);
}

}  // namespace
}  // namespace zqm
