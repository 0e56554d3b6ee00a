// The device module against a scripted backend: what is sent, stored, reported and run.
#include "zqm/device/ZQMDeviceRule.h"

#include <latch>

#include "tests/support/FakePlatform.h"
#include "zqm/base/Exception.h"
#include "zqm/device/DeviceDecision.h"
#include "zqm/device/ZQMDeviceBehavior.h"
#include "zqm/device/ZQMDeviceRequest.h"
#include "zqm/model/ZQMDatabase.h"

namespace zqm::testing {
namespace {

using Statuses = std::vector<std::int64_t>;

class DeviceRuleTest : public Fixture {
 protected:
  DeviceRuleTest() { answer(accepted, accepted); }

  void answer(const HttpExchange& init, const HttpExchange& behavior) {
    fakes.http->answer = [=](const HttpRequest& request) {
      return request.url.ends_with("/device/init") ? init : behavior;
    };
  }
  // Each waits for all that follows.
  void start() {
    ZQMDeviceBehavior::start();
    process->drain();
  }
  Statuses startWithHandler() {
    Statuses received;
    ZQMDeviceBehavior::start([&](std::int64_t status) { received.push_back(status); });
    process->drain();
    return received;
  }
  void verify() {
    ZQMDeviceBehavior::verifyUpdate();
    process->drain();
  }
  std::size_t inits() { return fakes.http->requestsTo("/device/init").size(); }
  std::size_t profiles() { return fakes.http->requestsTo("/device/behavior").size(); }
  std::string lastProfile() {
    return std::string(asText(fakes.http->requestsTo("/device/behavior").back().body.value()));
  }
  static ZQMDeviceModel stored() { return ZQMDatabase::readRecord<ZQMDeviceModel>().value(); }

  const HttpExchange accepted = FakeHttp::answered(200, "");
};

TEST_F(DeviceRuleTest, FirstStartSendsTheWholeProfileAndALaterOneOnlyAChange) {
  fakes.systemInfo->features = {AccessibilityFeature::boldText, AccessibilityFeature::grayscale};
  start();
  EXPECT_EQ(lastProfile(),
            R"({"isStarted":"true","dateStart":"2024-03-05T15:10:00-03:00","updated":"true",)"
            R"("dateTime":"2024-03-05T15:10:00-03:00","platform":"IOS","systemVersion":"12",)"
            R"("isRooted":"false","manufacturer":"Apple Inc.","codename":"model1,1","carrier":"",)"
            R"("enabledAccessibilityServices":["BOLD_TEXT","GRAYSCALE"],)"
            R"("timezone":"Horário Padrão de Brasília, America/Sao_Paulo","locale":"pt_BR"})");
  EXPECT_FALSE(stored().updated);
  relaunch();
  start();
  EXPECT_EQ(inits(), 1U);
  EXPECT_EQ(profiles(), 1U);
  fakes.systemInfo->features.pop_back();
  fakes.systemFiles->put("/bin/bash", {});
  verify();
  EXPECT_EQ(profiles(), 2U);
  EXPECT_NE(lastProfile().find(R"("isRooted":"true")"), std::string::npos);
  EXPECT_NE(lastProfile().find(R"(["BOLD_TEXT"])"), std::string::npos);
}

TEST_F(DeviceRuleTest, EachAnswerIsStoredAndTellsWhenTheNextInitIsDueAndWhetherTheProfileIsSent) {
  const std::tuple<HttpExchange, std::int64_t, bool> cases[] = {
      {accepted, kDeviceRegistered, true},
      {FakeHttp::answered(400, ""), kDeviceRejected, true},
      {FakeHttp::answered(401, ""), kDeviceUnauthorized, true},
      {FakeHttp::answered(204, ""), kDeviceFailed, false},
      {FakeHttp::failed(), kDeviceFailed, false}};
  for (const auto& [exchange, status, holds] : cases) {
    SCOPED_TRACE(status);
    ZQMDeviceModel before;
    before.locale = "kept only by a success";
    ZQMDatabase::saveObject<ZQMDeviceModel>(before);
    answer(exchange, accepted);
    const bool registered = status == kDeviceRegistered;
    fakes.http->sent.clear();
    EXPECT_EQ(startWithHandler(), Statuses{status});
    EXPECT_EQ(stored().isStarted, registered);
    EXPECT_EQ(stored().locale.isPresent(), registered);
    EXPECT_EQ(stored().dateStart.has_value(), holds);
    fakes.clock->advance(std::chrono::hours(32) - std::chrono::milliseconds(1));
    const std::int64_t resting = registered ? kDeviceRegistered : kDeviceRejected;
    EXPECT_EQ(startWithHandler(), Statuses{holds ? resting : status});
    EXPECT_EQ(inits(), holds ? 1U : 2U);
    fakes.clock->advance(std::chrono::milliseconds(1));
    EXPECT_EQ(startWithHandler(), Statuses{status});
    EXPECT_EQ(inits(), holds ? 2U : 3U);
    EXPECT_EQ(reports().size(), holds ? 0U : 3U);
    start();
    EXPECT_EQ(profiles(), registered ? 1U : 0U);
  }
}

TEST_F(DeviceRuleTest, AnyNumberOfHoursIsDecidedWithoutOverflow) {
  ZQMDeviceModel device;
  device.dateStart = kNow;
  EXPECT_TRUE(deviceInitDecision({device, INT32_MIN, kNow}).due);
  EXPECT_FALSE(deviceInitDecision({device, INT32_MAX, kNow}).due);
}

TEST_F(DeviceRuleTest, HandlersShareOneInitInTheirOrderAndOneThatThrowsKeepsLaterStartsAway) {
  std::latch gate(1);
  fakes.http->answer = [&](const HttpRequest&) {
    gate.wait();
    return accepted;
  };
  Statuses received;
  ZQMDeviceBehavior::start([&](std::int64_t status) { received.push_back(10 + status); });
  ZQMDeviceBehavior::start([&](std::int64_t status) { received.push_back(20 + status); });
  gate.count_down();
  process->drain();
  EXPECT_EQ(inits(), 1U);
  EXPECT_EQ(received, (Statuses{10, 20}));

  ZQMDeviceBehavior::start([](std::int64_t) { throw Exception("n", "handler failed"); });
  EXPECT_EQ(messages(), std::vector<std::string>{"handler failed"});
  EXPECT_EQ(startWithHandler(), Statuses{});
  relaunch();
  EXPECT_EQ(startWithHandler(), Statuses{kDeviceRegistered});
}

TEST_F(DeviceRuleTest, ProfileStaysMarkedUntilATextArrivesAndAnAbsentFactMarksItEveryTime) {
  answer(accepted, FakeHttp::answered(500, ""));
  start();
  EXPECT_TRUE(stored().updated);
  answer(accepted, FakeHttp::answered(200, "\xff"));
  verify();
  EXPECT_EQ(profiles(), 2U);
  EXPECT_TRUE(stored().updated);
  answer(accepted, accepted);
  verify();
  verify();
  EXPECT_EQ(profiles(), 3U);
  fakes.systemInfo->subscriber = CellularSubscriber{std::nullopt};
  verify();
  verify();
  EXPECT_EQ(profiles(), 5U);
  EXPECT_EQ(lastProfile().find("carrier"), std::string::npos);
}

TEST_F(DeviceRuleTest, ProfileThatCannotBeReadNowIsNeitherAskedForNorWrittenOver) {
  start();
  const std::string path = storedPath("ZQMDeviceModel");
  const Bytes before = fakes.files->contents[path];
  fakes.clock->advance(std::chrono::hours(48));
  fakes.http->sent.clear();
  fakes.files->failReads(path, 1);
  EXPECT_EQ(startWithHandler(), Statuses{kDeviceFailed});
  fakes.files->failReads(path, 1);
  ZQMDeviceRule::sharedInstance().updatedInfo();
  EXPECT_EQ(fakes.files->contents[path], before);
  EXPECT_EQ(inits(), 0U);
  ASSERT_EQ(reports().size(), 1U);
  EXPECT_EQ(reports()[0]["moduleName"], Value("zqm-devicebehavior"));
  EXPECT_EQ(startWithHandler(), Statuses{kDeviceRegistered});
}

TEST_F(DeviceRuleTest, AnswerThatCannotBeSavedIsReportedOnceAndAskedForAgain) {
  fakes.files->readOnly = true;
  EXPECT_EQ(startWithHandler(), Statuses{kDeviceRegistered});
  EXPECT_EQ(messages(), std::vector<std::string>{"Could not be saved: ZQMDeviceModel"});
  fakes.files->readOnly = false;
  fakes.files->put(storedPath("ZQMDeviceModel"), toBytes("damaged"));
  EXPECT_EQ(startWithHandler(), Statuses{kDeviceRegistered});
  EXPECT_EQ(reports().size(), 2U) << "the damaged file is kept";
  EXPECT_EQ(inits(), 2U);
  EXPECT_TRUE(stored().isStarted);
}

TEST_F(DeviceRuleTest, VerifyingAnUnregisteredDeviceIsTheLastVerificationOfTheProcess) {
  verify();
  ZQMDeviceRule::sharedInstance().updatedInfo();
  EXPECT_TRUE(fakes.files->written.empty());
  start();
  verify();
  EXPECT_EQ(profiles(), 0U);
  relaunch();
  verify();
  EXPECT_EQ(profiles(), 1U);
}

}  // namespace
}  // namespace zqm::testing
