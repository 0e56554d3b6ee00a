// The start check against a scripted backend: what is sent, stored, reported and run.
#include "zqm/core/ZQMCoreRule.h"

#include <future>

#include "tests/support/FakePlatform.h"
#include "tests/support/Integrator.h"
#include "zqm/base/Exception.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/core/ZQMUserModel.h"
#include "zqm/endpoints/ZQMEndPoint.h"
#include "zqm/endpoints/ZQMEndpointModels.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/util/Json.h"

namespace zqm {
namespace {

using zqm::testing::FakeHttp;
using zqm::testing::installKey;
using zqm::testing::kNow;
using zqm::testing::protectedText;

class CoreRuleTest : public zqm::testing::Fixture {
 protected:
  CoreRuleTest() {
    installKey(fakes);
    answer(200, acceptance("e-1"));
  }

  std::string acceptance(const std::string& euid) const {
    const Dictionary config = {{"config", protectedText("http://elsewhere/config")}};
    const Dictionary table = {{"config", config}};
    return writeJson(Dictionary{{"euid", euid}, {"endpoints", table}}).text;
  }

  void answer(std::int32_t status, const std::string& body) {
    fakes.http->answer = [=](const HttpRequest& request) {
      return request.url.find("graylog") == std::string::npos ? FakeHttp::answered(status, body)
                                                              : FakeHttp::answered(200, "");
    };
  }

  // Starts and waits for the end of all that follows; answers how often the handler ran.
  int start(const Text& appId) {
    int runs = 0;
    ZQMCore::start(appId, [&] { ++runs; });
    process->drain();
    return runs;
  }
  int start() { return start(appId); }

  std::size_t asked() { return fakes.http->requestsTo("/start/init").size(); }

  std::vector<Dictionary> reports() {
    std::vector<Dictionary> records;
    for (const HttpRequest& request : fakes.http->requestsTo("graylog")) {
      records.push_back(*readJson(asText(request.body.value())).value.dictionary());
    }
    return records;
  }

  static ZQMUserModel user() { return ZQMDatabase::readRecord<ZQMUserModel>().value(); }

  const Text appId = protectedText("app-7");
};

TEST_F(CoreRuleTest, AcceptedStartStoresIdentityVersionsAndTable) {
  EXPECT_FALSE(ZQMCore::isStarted());
  EXPECT_EQ(start(), 1);
  const HttpRequest request = fakes.http->requestsTo("/start/init").at(0);
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(asText(request.body.value()),
            R"({"advertisingId":"6D92078A-8246-4BA4-AE5B-76104861E7DC","appId":"app-7",)"
            R"("platform":"IOS","sdkVersion":"1.2.3","appVersion":"3.1"})");
  EXPECT_TRUE(ZQMCore::isStarted());
  EXPECT_EQ(user().euid, Text("e-1"));
  EXPECT_EQ(user().appId, Text("app-7"));
  EXPECT_EQ(user().startedDate, kNow);
  EXPECT_EQ(user().startedAppVersion, Text("3.1"));
  EXPECT_EQ(ZQMEndPoint::config(), "http://elsewhere/config");
  EXPECT_TRUE(reports().empty());

  relaunch();
  const auto writes = fakes.files->written.size();
  EXPECT_EQ(start(), 1);
  EXPECT_EQ(asked(), 1U);
  EXPECT_EQ(fakes.files->written.size(), writes);

  fakes.packages->main->info.set("CFBundleShortVersionString", "3.2");
  EXPECT_EQ(start(), 1);
  EXPECT_EQ(asked(), 2U);
  EXPECT_EQ(user().startedAppVersion, Text("3.2"));
  EXPECT_EQ(fakes.http->requestsTo("/start/init").at(1).headers.size(), 4U);
}

TEST_F(CoreRuleTest, RefusalAndAnswerWithoutIdentifierAreSilentAndHoldForADay) {
  const std::vector<std::pair<std::int32_t, std::string>> refusals = {
      {403, ""}, {401, "{}"}, {200, R"({"euid":""})"}, {200, R"({"euid":5})"}, {200, "{}"}};
  std::size_t expected = 0;
  for (const auto& [status, body] : refusals) {
    answer(status, body);
    EXPECT_EQ(start(), 0);
    EXPECT_EQ(asked(), ++expected);
    EXPECT_FALSE(user().started);
    EXPECT_EQ(user().startedDate, fakes.clock->now());
    fakes.clock->advance(std::chrono::hours(23));
    EXPECT_EQ(start(), 0);
    EXPECT_EQ(asked(), expected);
    fakes.clock->advance(std::chrono::hours(2));
  }
  EXPECT_TRUE(reports().empty());
  EXPECT_TRUE(ZQMCoreRule::sharedInstance().startHandlers().handlers().empty());
}

TEST_F(CoreRuleTest, FailureIsReportedOnceAndTheEarlierIdentityStays) {
  start();
  fakes.packages->main->info.set("CFBundleShortVersionString", "3.2");
  answer(500, acceptance("e-2"));
  EXPECT_EQ(start(), 0);
  ASSERT_EQ(reports().size(), 1U);
  EXPECT_EQ(reports()[0]["message"],
            Value("Could not ask backend permission to Start service. The operation couldn't be "
                  "completed. (RequestException error 500.)"));
  EXPECT_EQ(reports()[0]["level"], Value("4"));
  EXPECT_FALSE(ZQMCore::isStarted());
  EXPECT_EQ(user().euid, Text("e-1"));
  EXPECT_EQ(user().startedAppVersion, Text("3.1"));
}

TEST_F(CoreRuleTest, UnreachableBackendAndUnreadableAnswerAreReportedAtLevelFour) {
  fakes.http->answer = [](const HttpRequest& request) {
    return request.url.find("graylog") == std::string::npos ? FakeHttp::failed(-7)
                                                            : FakeHttp::answered(200, "");
  };
  EXPECT_EQ(start(), 0);
  std::size_t expected = 1;
  EXPECT_EQ(reports().size(), expected);
  for (const char* body : {"not json", "[1]", "", "\xff\xfe"}) {
    fakes.clock->advance(std::chrono::hours(25));
    answer(200, body);
    EXPECT_EQ(start(), 0);
    ASSERT_EQ(reports().size(), ++expected) << body;
    EXPECT_EQ(reports().back()["level"], Value("4"));
    EXPECT_EQ(user().startedDate, fakes.clock->now());
  }
}

TEST_F(CoreRuleTest, AcceptanceWithoutATableStoresEmptyGroupsOverAnOlderOne) {
  start();
  fakes.packages->main->info.set("CFBundleShortVersionString", "3.2");
  answer(200, R"({"euid":"e-2"})");
  EXPECT_EQ(start(), 1);
  EXPECT_EQ(ZQMEndPoint::config(), "http://backend.test/config/");
  EXPECT_TRUE(ZQMDatabase::readRecord<ZQMEndpointsModel>().has_value());
}

TEST_F(CoreRuleTest, NothingIsSentOrSavedWithoutUsableIdentifiers) {
  for (const Text& unusable : {Text(), Text(""), Text("plain"), Text("AAAA")}) {
    EXPECT_EQ(start(unusable), 0);
  }
  fakes.identity->advertising = "";
  EXPECT_EQ(start(), 0);
  EXPECT_TRUE(fakes.http->requests().empty());
  EXPECT_TRUE(fakes.files->written.empty());
  EXPECT_TRUE(ZQMCoreRule::sharedInstance().startHandlers().handlers().empty());
}

TEST_F(CoreRuleTest, RestartResetsTheRecordKeepsTheTableAndSendsNothing) {
  start();
  ZQMCore::restart();
  process->drain();
  EXPECT_FALSE(ZQMCore::isStarted());
  EXPECT_TRUE(user().euid.isAbsent());
  EXPECT_EQ(ZQMEndPoint::config(), "http://elsewhere/config");
  EXPECT_EQ(asked(), 1U);
  // A request without an identifier cannot be built, and that is reported.
  ASSERT_EQ(reports().size(), 1U);
  EXPECT_EQ(reports()[0]["level"], Value("4"));
  EXPECT_EQ(start(), 1);
  EXPECT_EQ(asked(), 2U);
}

TEST_F(CoreRuleTest, ThrowingHandlerIsReportedOnceAndKeepsLaterStartsFromBeingScheduled) {
  ZQMCore::start(appId, [] { throw Exception("n", "handler failed"); });
  process->drain();
  ASSERT_EQ(reports().size(), 1U);
  EXPECT_EQ(reports()[0]["message"], Value("handler failed"));
  EXPECT_EQ(reports()[0]["level"], Value("4"));
  EXPECT_TRUE(ZQMCore::isStarted());
  EXPECT_EQ(start(), 0);
  EXPECT_EQ(ZQMCoreRule::sharedInstance().startHandlers().handlers().size(), 2U);
  relaunch();
  EXPECT_EQ(start(), 1);
}

TEST_F(CoreRuleTest, FullDiskKeepsNeitherHandlersNorHostFromGoingOn) {
  fakes.files->readOnly = true;
  EXPECT_EQ(start(), 1);
  EXPECT_FALSE(ZQMCore::isStarted());
}

}  // namespace
}  // namespace zqm
