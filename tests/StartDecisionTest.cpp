// The decision whether a start request is due.
#include "zqm/core/StartDecision.h"

#include "tests/support/FakePlatform.h"

namespace zqm::testing {
namespace {

using Outcome = StartDecision::Outcome;

class StartDecisionTest : public Fixture {
 protected:
  StartDecisionTest() {
    ZQMUserModel user;
    user.advertisingId = "device";
    user.appId = "app";
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
  for (const Text& plainAppId : {Text("app"), Text("another"), Text()}) {
    facts.plainAppId = plainAppId.string();
    expect(Outcome::notDue, StartReason::accepted);
  }
  facts.appVersion = "3.2";
  expect(Outcome::due, StartReason::appVersionChanged);
  // Two absent versions are not the same one.
  facts.user->startedSdkVersion = facts.sdkVersion = Text();
  expect(Outcome::due, StartReason::sdkVersionChanged);
  facts.deviceAdvertisingId = "changed";
  expect(Outcome::due, StartReason::advertisingIdChanged);
  // Given in plain text, an identifier is refused even for an accepted installation.
  facts.plainAppId = facts.appId.string();
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
  expect(Outcome::due, StartReason::neverAttempted);
  EXPECT_TRUE(startDecision(facts).appId.isAbsent());
  facts.user->advertisingId = Text();
  expect(Outcome::impossible, StartReason::noAdvertisingId);
  facts.user.reset();
  facts.deviceAdvertisingId = "device";
  expect(Outcome::impossible, StartReason::appIdNotDecryptable);
}

}  // namespace
}  // namespace zqm::testing
