// The configuration: what a fetch changes, when the next one is due, what survives a launch.
#include "zqm/config/ZQMConfigRule.h"

#include "tests/support/FakePlatform.h"
#include "zqm/config/ConfigDecision.h"
#include "zqm/config/ZQMConfig.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/util/Date.h"

namespace zqm::testing {
namespace {

using namespace std::chrono_literals;

class ConfigRuleTest : public Fixture {
 protected:
  static ZQMConfigRule& rule() { return ZQMConfigRule::sharedInstance(); }

  // Starts the module as an accepted start does, and waits for the end of all that follows.
  void start() {
    ZQMConfig::start();
    process->drain();
  }

  std::size_t fetches() { return fakes.http->requestsTo("/config/").size(); }
};

TEST_F(ConfigRuleTest, DefaultsHoldUntilTheBackendHasSentValuesAndAreNotSaved) {
  EXPECT_EQ(rule().getHoursToCallStartDevicebehavior(), 32);
  EXPECT_EQ(rule().getTitlePermissionAppBehavior(), Text("Permissão de acesso ao uso"));
  EXPECT_EQ(rule().configModel().toDictionary().size(), 21U);
  EXPECT_TRUE(fakes.files->written.empty());

  answer(FakeHttp::answered(200, R"({"hoursBeforeSendQueueNonWifi":3})"));
  start();
  EXPECT_EQ(fakes.http->requestsTo("/config/").at(0).method, "GET");
  relaunch();
  EXPECT_EQ(rule().getHoursBeforeSendQueueNonWifi(), 3);
  EXPECT_EQ(rule().getMessagePermissionAppBehavior(),
            ZQMConfigModel().messagePermissionAppBehavior);
  EXPECT_TRUE(reports().empty());
}

TEST_F(ConfigRuleTest, MergeTakesWhatHasAReadingAndKeepsTheRest) {
  const std::tuple<std::string, Value, Value> cases[] = {
      {"daysToUpdateConfig", "7", 7},
      {"daysToUpdateAdClusters", "12 days", 12},
      {"hoursToCallStartDevicebehavior", List{1}, 32},
      {"daysToSendDatabehavior", Value::Null(), 1},
      {"daysToSendAppbehavior", Dictionary{{"a", 1}}, 7},
      {"metersToSendGeobehavior", std::int64_t{1} << 31, INT32_MIN},
      {"topWifiListGeobehavior", 2.9, 2},
      {"minutesToCallServiceGeobehavior", true, 1},
      {"attemptsToSendQueueItem", "none", 0},
      {"titlePermissionAppBehavior", 5, 5},
      {"lastUpdateDate", "2001-01-01T00:00:00+00:00", Value(toString(kNow))},
      {"unknown", "ignored", Value()}};
  Dictionary sent;
  for (const auto& [key, value, merged] : cases) sent.set(key, value);
  rule().updateAndPersist(sent);
  const Dictionary model = rule().configModel().toDictionary();
  for (const auto& [key, value, merged] : cases) EXPECT_EQ(model[key], merged) << key;
  EXPECT_EQ(rule().getDaysToUpdateAdClusters(), 12);
  EXPECT_EQ(rule().getMetersToSendGeobehavior(), INT32_MIN);
  EXPECT_EQ(rule().getTopWifiListGeobehavior(), 2);
  EXPECT_EQ(rule().getMinutesToCallServiceGeobehavior(), 1);
  EXPECT_EQ(rule().getAttemptsToSendQueueItem(), 0);
  relaunch();
  EXPECT_EQ(rule().configModel().toDictionary(), model);
}

TEST_F(ConfigRuleTest, NullUnderATextKeyReadsAsAbsentAndLeavesTheOldFile) {
  rule().updateAndPersist({{"negativePermissionAppBehavior", "No"}});
  rule().updateAndPersist({{"negativePermissionAppBehavior", Value::Null()}});
  EXPECT_TRUE(rule().getNegativePermissionAppBehavior().isAbsent());
  relaunch();
  EXPECT_EQ(rule().getNegativePermissionAppBehavior(), Text("No"));
}

TEST_F(ConfigRuleTest, FailedFetchChangesNoValueButCountsAsAnUpdate) {
  std::string huge = R"({"daysToSendAppbehavior":)";
  huge.append(10'000'000, ' ');
  std::size_t expected = 0;
  for (const auto& [status, body] : {std::pair(500, std::string(R"({"daysToSendAppbehavior":3})")),
                                     {200, "not json"},
                                     {200, R"(["daysToSendAppbehavior"])"},
                                     {200, huge}}) {
    answer(FakeHttp::answered(status, body));
    start();
    EXPECT_EQ(reports().size(), ++expected) << body.substr(0, 40);
    EXPECT_EQ(rule().getDaysToSendAppbehavior(), 7);
    EXPECT_EQ(rule().configModel().lastUpdateDate, fakes.clock->now());
    start();
    EXPECT_EQ(fetches(), expected);
    fakes.clock->advance(24h);
  }
  answer(FakeHttp::answered(200, ""));
  start();
  EXPECT_EQ(reports().size(), expected);
  EXPECT_FALSE(rule().isUpdateConfig());
  fakes.clock->advance(24h);
  answer(FakeHttp::failed());
  start();
  EXPECT_FALSE(rule().isUpdateConfig());
}

TEST_F(ConfigRuleTest, MergeReadsLateWhatCouldNotBeReadAtFirstAndWritesNothingOverIt) {
  const std::string path = storedPath("ZQMConfigModel");
  rule().updateAndPersist({{"daysToSendAppbehavior", 3}});
  relaunch();
  fakes.files->failReads(path, 2);
  const Bytes before = fakes.files->contents[path];
  rule().updateAndPersist({{"topWifiListGeobehavior", 9}});
  rule().persistInstance();
  EXPECT_EQ(rule().getTopWifiListGeobehavior(), 9);
  EXPECT_EQ(fakes.files->contents[path], before);
  EXPECT_EQ(reports().size(), 1U);

  relaunch();
  fakes.files->failReads(path, 1);
  rule().updateAndPersist({{"topWifiListGeobehavior", 8}});
  relaunch();
  EXPECT_EQ(rule().getDaysToSendAppbehavior(), 3);
  EXPECT_EQ(rule().getTopWifiListGeobehavior(), 8);
  EXPECT_EQ(reports().size(), 1U);
}

TEST_F(ConfigRuleTest, DamagedRecordIsKeptWithAReportAndAFailedSaveHasNone) {
  fakes.files->put(storedPath("ZQMConfigModel"), toBytes("damaged"));
  rule().updateAndPersist({{"topWifiListGeobehavior", 9}});
  ASSERT_EQ(reports().size(), 1U);
  EXPECT_EQ(reports()[0]["moduleName"], Value("zqm-config"));
  fakes.files->readOnly = true;
  rule().updateAndPersist({{"topWifiListGeobehavior", 7}});
  EXPECT_EQ(rule().getTopWifiListGeobehavior(), 7);
  EXPECT_EQ(reports().size(), 1U);
  relaunch();
  EXPECT_EQ(rule().getTopWifiListGeobehavior(), 9);
}

TEST_F(ConfigRuleTest, FetchIsDueFromTheVeryInstantThatTheDaysHavePassed) {
  const auto decide = [](std::optional<Date> last, std::int32_t days) {
    return configDecision({last, days, kNow}).reason;
  };
  EXPECT_EQ(decide(std::nullopt, 1), ConfigReason::neverUpdated);
  EXPECT_EQ(decide(kNow - 24h, 1), ConfigReason::intervalOver);
  EXPECT_EQ(decide(kNow - 24h + 1ms, 1), ConfigReason::withinInterval);
  EXPECT_EQ(decide(kNow, INT32_MIN), ConfigReason::intervalOver);
  EXPECT_EQ(decide(kNow, INT32_MAX), ConfigReason::withinInterval);
  EXPECT_EQ(decide(Date::max(), 1), ConfigReason::withinInterval);
}

TEST_F(ConfigRuleTest, TwoLoadsBeforeTheFirstHasBegunIssueOneRequest) {
  answer(FakeHttp::answered(200, "{}"));
  {
    // Holds the executor's item, which asks for the address, at the first question to the store.
    const MutexLock lock(fakes.files->mutex);
    ZQMConfig::loadRemoteConfig();
    ZQMConfig::loadRemoteConfig();
  }
  process->drain();
  EXPECT_EQ(fetches(), 1U);
}

TEST_F(ConfigRuleTest, StoredRecordWithoutAKeyReadsAsZeroNotAsTheDefault) {
  ZQMDatabase::saveObject<ZQMConfigModel>(Value(Dictionary{{"daysToUpdateConfig", 3}}));
  EXPECT_EQ(rule().getMinutesBeforeRetryQueue(), 0);
  EXPECT_TRUE(rule().getTitlePermissionAppBehavior().isAbsent());
}

}  // namespace
}  // namespace zqm::testing
