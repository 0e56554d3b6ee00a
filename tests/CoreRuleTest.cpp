// The start: whether it is due, what is sent to a scripted backend, stored and reported, and which
// handlers and kit modules are run.
#include "zqm/core/ZQMCoreRule.h"

#include <latch>

#include "tests/support/Integrator.h"
#include "zqm/base/Exception.h"
#include "zqm/core/StartDecision.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/core/ZQMCoreModule.h"
#include "zqm/core/user/ZQMUserModel.h"
#include "zqm/core/user/ZQMUserRule.h"
#include "zqm/endpoints/ZQMEndPoint.h"
#include "zqm/endpoints/ZQMEndpointModels.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/util/Json.h"

namespace zqm::testing {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* kTableAddress = "http://elsewhere/config";

// The body of an accepted start.
std::string acceptance(const std::string& euid) {
  const Dictionary config = {{"config", protectedText(kTableAddress)}};
  return writeJson(Dictionary{{"euid", euid}, {"endpoints", Dictionary{{"config", config}}}}).text;
}

struct Kit : ZQMCoreModule {
  explicit Kit(std::string& order) : starts(order) {}
  void start() override { starts += "k"; }
  std::string& starts;
};

// Of an installation that the backend has accepted.
StartFacts acceptedFacts() {
  ZQMUserModel user;
  user.advertisingId = "device";
  user.appId = "app";
  user.started = true;
  user.startedDate = kNow;
  user.startedSdkVersion = "1.2.3";
  user.startedAppVersion = "3.1";
  return {user, "device", "protected", "app", "1.2.3", "3.1", kNow};
}

class CoreRuleTest : public Fixture {
 protected:
  CoreRuleTest() {
    installKey(fakes);
    answer(FakeHttp::answered(200, acceptance("e-1")));
  }

  void updateApplication() { setInfo(*fakes.packages->main, "CFBundleShortVersionString", "3.2"); }

  // Starts and waits for the end of all that follows; answers how often the handler ran.
  int start(const Text& appId = protectedText("app-7")) {
    int runs = 0;
    ZQMCore::start(appId, [&] { ++runs; });
    process->drain();
    return runs;
  }

  const std::string userPath = storedPath("ZQMUserModel");

  std::size_t asked() { return fakes.http->requestsTo("/start/init").size(); }
  static ZQMUserModel user() { return ZQMDatabase::readRecord<ZQMUserModel>().value(); }
};

TEST_F(CoreRuleTest, AcceptedStartStoresIdentityVersionsAndTable) {
  EXPECT_FALSE(ZQMCore::isStarted());
  EXPECT_EQ(start(), 1);
  EXPECT_EQ(asText(fakes.http->requestsTo("/start/init").at(0).body.value()),
            R"({"advertisingId":"6D92078A-8246-4BA4-AE5B-76104861E7DC","appId":"app-7",)"
            R"("platform":"IOS","sdkVersion":"1.2.3","appVersion":"3.1"})");
  EXPECT_TRUE(ZQMCore::isStarted());
  EXPECT_EQ(user().euid, Text("e-1"));
  EXPECT_EQ(ZQMEndPoint::config(), kTableAddress);
  EXPECT_TRUE(reports().empty());

  relaunch();
  fakes.files->written.clear();
  EXPECT_EQ(start(), 1);
  EXPECT_EQ(asked(), 1U);
  EXPECT_EQ(std::ranges::count(fakes.files->written, storedPath("ZQMUserModel")), 0);

  // Without a table, empty groups replace the older one.
  updateApplication();
  answer(FakeHttp::answered(200, R"({"euid":"e-2"})"));
  EXPECT_EQ(start(), 1);
  EXPECT_EQ(asked(), 2U);
  EXPECT_TRUE(ZQMDatabase::readRecord<ZQMEndpointsModel>().has_value());
  EXPECT_EQ(ZQMEndPoint::config(), "http://backend.test/config/");
}

TEST_F(CoreRuleTest, RefusalAndAnswerWithoutIdentifierAreSilentAndHoldForADay) {
  const std::pair<std::int32_t, const char*> refusals[] = {
      {403, ""}, {401, "{}"}, {200, R"({"euid":""})"}, {200, R"({"euid":5})"}, {200, "{}"}};
  std::size_t expected = 0;
  for (const auto& [status, body] : refusals) {
    answer(FakeHttp::answered(status, body));
    EXPECT_EQ(start() + start(), 0);
    EXPECT_EQ(asked(), ++expected);
    fakes.clock->advance(std::chrono::hours(24));
  }
  EXPECT_TRUE(reports().empty());
}

TEST_F(CoreRuleTest, FailureAndUnreadableAnswerAreReportedOnceAndTheEarlierIdentityStays) {
  start();
  updateApplication();
  std::size_t expected = 0;
  for (const HttpExchange& exchange :
       {FakeHttp::answered(500, acceptance("e-2")), FakeHttp::failed(),
        FakeHttp::answered(200, "not json"), FakeHttp::answered(200, "[1]"),
        FakeHttp::answered(200, ""), FakeHttp::answered(200, "\xff\xfe")}) {
    fakes.clock->advance(std::chrono::hours(25));
    answer(exchange);
    EXPECT_EQ(start(), 0);
    ASSERT_EQ(reports().size(), ++expected);
    EXPECT_EQ(user().startedDate, fakes.clock->now());
    EXPECT_EQ(user().euid, Text("e-1"));
  }
  EXPECT_EQ(messages().front(),
            "Could not ask backend permission to Start service. The operation couldn't be "
            "completed. (RequestException error 500.)");
  EXPECT_FALSE(ZQMCore::isStarted());
}

TEST_F(CoreRuleTest, RecordThatCannotBeReadNowEndsTheStartWithOneReportAndStaysAsItIs) {
  start();
  const Bytes before = fakes.files->contents[userPath];
  relaunch();
  fakes.http->sent.clear();
  fakes.files->written.clear();
  fakes.files->failReads(userPath, 1);
  EXPECT_EQ(start(), 0);
  EXPECT_EQ(messages(), Lines{"ZQMUserModel cannot be read at the moment; nothing is started"});
  EXPECT_EQ(asked(), 0U);
  EXPECT_TRUE(fakes.files->written.empty());
  EXPECT_EQ(start(), 1);
  for (const auto& change : std::vector<std::function<void(ZQMUserRule&)>>{
           [](auto& rule) { rule.setAppId("other"); }, [](auto& rule) { rule.resetUser(); }}) {
    fakes.http->sent.clear();
    fakes.files->failReads(userPath, 1);
    change(ZQMUserRule::sharedInstance());
    EXPECT_EQ(reports().size(), 1U);
    EXPECT_EQ(fakes.files->contents[userPath], before);
  }
  EXPECT_TRUE(ZQMCore::isStarted());
}

TEST_F(CoreRuleTest, DamagedRecordIsRegisteredAnewAndKeptBesideWithOneReport) {
  fakes.files->put(userPath, toBytes("damaged"));
  EXPECT_EQ(start(), 1);
  const std::string message = messages().at(0);
  const std::string name = message.substr(message.rfind(' ') + 1);
  EXPECT_EQ(fakes.files->contents["/groups/group.example/" + name], toBytes("damaged"));
  fakes.files->put(userPath, toBytes("damaged again"));
  ZQMUserRule::sharedInstance().setAppId("other");
  EXPECT_EQ(reports().size(), 2U);
  EXPECT_EQ(user().appId, Text("other"));
}

TEST_F(CoreRuleTest, AcceptanceWithoutItsTableStartsThisLaunchAndIsAskedForByTheNext) {
  fakes.files->unwritable = storedPath("ZQMEndpointsModel");
  EXPECT_EQ(start(), 1);
  EXPECT_EQ(messages(),
            Lines{"Could not be saved: what came with an accepted start: ZQMEndpointsModel"});
  EXPECT_EQ(user().euid, Text("e-1"));
  EXPECT_FALSE(ZQMCore::isStarted());
  relaunch();
  fakes.files->unwritable = userPath;
  EXPECT_EQ(start(), 1);
  EXPECT_EQ(reports().size(), 2U);
  relaunch();
  fakes.files->unwritable.clear();
  EXPECT_EQ(start() + start(), 2);
  EXPECT_EQ(asked(), 3U);
  EXPECT_EQ(reports().size(), 2U);
  EXPECT_EQ(ZQMEndPoint::config(), kTableAddress);
}

TEST_F(CoreRuleTest, NullAddressKeepsNeitherTheTableNorTheAcceptanceFromBeingSaved) {
  const Dictionary config = {{"config", protectedText(kTableAddress)}};
  const Dictionary table = {{"config", config}, {"geo", Dictionary{{"live", Value::Null()}}}};
  answer(FakeHttp::answered(200, writeJson(Dictionary{{"euid", "e"}, {"endpoints", table}}).text));
  EXPECT_EQ(start(), 1);
  EXPECT_TRUE(ZQMCore::isStarted() && reports().empty());
  EXPECT_EQ(ZQMEndPoint::config(), kTableAddress);
  EXPECT_EQ(ZQMEndPoint::geoLive(), "http://backend.test/geo/live");
}

TEST_F(CoreRuleTest, NothingIsSentOrSavedWithoutUsableIdentifiers) {
  // What getenv answers for a variable that is not set.
  const char* const unset = nullptr;
  ZQMCore::startWithAppId(unset, {});
  for (const Text& unusable : {Text(unset), Text("plain")}) EXPECT_EQ(start(unusable), 0);
  fakes.identity->advertising = "";
  EXPECT_EQ(start(), 0);
  EXPECT_TRUE(fakes.http->requests().empty());
  EXPECT_TRUE(fakes.files->written.empty());
}

TEST_F(CoreRuleTest, OnlyAnotherIdentifierMakesTheNextStartRegisterAnew) {
  start();
  ZQMUserRule::sharedInstance().setAppId("app-7");
  EXPECT_TRUE(ZQMCore::isStarted());
  ZQMUserRule::sharedInstance().setAppId("other");
  EXPECT_FALSE(ZQMCore::isStarted() || user().startedDate);
  EXPECT_EQ(user().euid, Text("e-1"));
}

TEST_F(CoreRuleTest, RestartResetsTheRecordKeepsTheTableAndSendsNothing) {
  start();
  ZQMCore::restart();
  // A request without an identifier cannot be built, and that is reported.
  EXPECT_EQ(reports().size(), 1U);
  EXPECT_FALSE(ZQMCore::isStarted() || user().startedDate || user().euid.isPresent());
  EXPECT_TRUE(user().advertisingId.isPresent());
  EXPECT_EQ(ZQMEndPoint::config(), kTableAddress);
  EXPECT_EQ(asked(), 1U);
  EXPECT_EQ(start(), 1);
}

TEST_F(CoreRuleTest, ThrowingHandlerIsReportedOnceAndKeepsLaterStartsFromBeingScheduled) {
  ZQMCore::start(protectedText("app-7"), [] { throw Exception("n", "handler failed"); });
  EXPECT_EQ(messages(), Lines{"handler failed"});
  EXPECT_TRUE(ZQMCore::isStarted());
  EXPECT_EQ(start(), 0);
  relaunch();
  EXPECT_EQ(start(), 1);
}

TEST_F(CoreRuleTest, AModuleThatStartsWithANullIdentifierLeavesTheListFree) {
  struct Restarting : ZQMCoreModule {
    void start() override { ZQMCore::startWithAppId(nullptr, {}); }
  };
  ZQMCore::startWithAppId(protectedText("app-7"), {std::make_shared<Restarting>()});
  process->drain();
  EXPECT_TRUE(reports().empty());
  EXPECT_EQ(start(), 1);
}

TEST_F(CoreRuleTest, CallsWhileAStartIsPendingJoinItInOrder) {
  std::latch gate(1);
  fakes.http->answer = [&](const HttpRequest&) {
    gate.wait();
    return FakeHttp::answered(200, acceptance("e-1"));
  };
  const Text appId = protectedText("app-7");
  std::string order;
  ZQMCore::start(appId, [&] { order += "a"; });
  ZQMCore::start(appId, [&] { order += "b"; });
  const auto kit = std::make_shared<Kit>(order);
  ZQMCore::startWithAppId(appId, {kit, nullptr, kit});
  ZQMCore::start(appId, nullptr);
  EXPECT_EQ(order, "");
  gate.count_down();
  process->drain();
  EXPECT_EQ(order, "abkk");
  EXPECT_EQ(asked(), 1U);
}

TEST_F(CoreRuleTest, CallsWithoutAHandlerNeverOccupyTheList) {
  fakes.identity->advertising = "";
  ZQMCore::start(protectedText("app-7"), nullptr);
  process->drain();
  fakes.identity->advertising = "A";
  ZQMCore::start(protectedText("app-7"), nullptr);
  EXPECT_EQ(start(), 1);
}

TEST_F(CoreRuleTest, KitModuleThatDoesNotOverrideStartIsReported) {
  ZQMCore::startWithAppId(protectedText("app-7"), {std::make_shared<ZQMCoreModule>()});
  EXPECT_EQ(messages(), Lines{"You must override start in a subclass"});
}

TEST_F(CoreRuleTest, AcceptedStartRestsWhileIdentifierAndVersionsStay) {
  StartFacts facts = acceptedFacts();
  facts.now = kNow + std::chrono::years(5);
  const auto reason = [&] { return startDecision(facts).reason; };
  for (const Text& plainAppId : {Text("app"), Text("another"), Text()}) {
    facts.plainAppId = plainAppId.string();
    EXPECT_EQ(reason(), StartReason::accepted);
    EXPECT_EQ(startDecision(facts).outcome(), StartDecision::Outcome::notDue);
  }
  facts.plainAppId = "app";
  facts.appVersion = "3.2";
  EXPECT_EQ(reason(), StartReason::appVersionChanged);
  EXPECT_EQ(startDecision(facts).outcome(), StartDecision::Outcome::due);
  // Two absent versions are not the same one, and a request cannot be sent without one.
  facts.user->startedSdkVersion = facts.sdkVersion = Text();
  EXPECT_EQ(startDecision(facts).outcome(), StartDecision::Outcome::unsendable);
  EXPECT_EQ(startDecision(facts).missing, "sdkVersion");
  facts.sdkVersion = "1.2.3";
  EXPECT_EQ(reason(), StartReason::sdkVersionChanged);
  facts.deviceAdvertisingId = "changed";
  EXPECT_EQ(reason(), StartReason::advertisingIdChanged);
  // Given in plain text, an identifier is refused even for an accepted installation.
  facts.plainAppId = facts.appId.string();
  EXPECT_EQ(reason(), StartReason::appIdNotProtected);
  EXPECT_EQ(startDecision(facts).outcome(), StartDecision::Outcome::impossible);
}

TEST_F(CoreRuleTest, StoredIdentifiersStandInForMissingOnes) {
  StartFacts facts = acceptedFacts();
  facts.user->startedDate.reset();
  facts.deviceAdvertisingId = "";
  facts.plainAppId = "";
  const StartDecision decision = startDecision(facts);
  EXPECT_EQ(decision.advertisingId, Text("device"));
  EXPECT_EQ(decision.appId, Text("app"));
  // An identifier that does not decrypt is absent, not empty: nothing stands in for it.
  facts.plainAppId.reset();
  EXPECT_EQ(startDecision(facts).outcome(), StartDecision::Outcome::unsendable);
  EXPECT_EQ(startDecision(facts).missing, "appId");
  facts.user->advertisingId = Text();
  EXPECT_EQ(startDecision(facts).reason, StartReason::noAdvertisingId);
  facts.user.reset();
  facts.deviceAdvertisingId = "device";
  EXPECT_EQ(startDecision(facts).reason, StartReason::appIdNotDecryptable);
}

}  // namespace
}  // namespace zqm::testing
