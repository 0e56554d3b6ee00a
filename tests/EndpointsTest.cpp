// The endpoint records, and the lookup of every address in table and settings.
#include "zqm/endpoints/ZQMEndPoint.h"

#include <gtest/gtest.h>

#include "tests/support/FakePlatform.h"
#include "tests/support/Integrator.h"
#include "zqm/endpoints/ZQMEndpointsRule.h"
#include "zqm/model/ZQMDatabase.h"

namespace zqm {
namespace {

using zqm::testing::protectedText;

// Every field of the table, each with a value of its own.
Dictionary fullTable() {
  const std::pair<const char*, std::vector<const char*>> groups[] = {
      {"ad", {"clusters"}},
      {"app", {"initialize", "installed", "optIn"}},
      {"config", {"config"}},
      {"data", {"behavior"}},
      {"device", {"initialize", "behavior"}},
      {"geo", {"initialize", "live", "behavior", "optIn"}},
      {"notification",
       {"token", "optIn", "deliver", "open", "interaction", "inBoxStatus", "inBoxShare",
        "inBoxDelete", "inAppSingle", "inAppMultiple", "inAppText", "coupon"}},
      {"graylog", {"gelf"}},
  };
  Dictionary table;
  for (const auto& [group, fields] : groups) {
    Dictionary entries;
    for (const char* field : fields) {
      entries.set(field, protectedText(std::string(group).append(".").append(field)));
    }
    table.set(group, entries);
  }
  return table;
}

struct Service {
  std::string (*address)();
  // Of the table, and of the settings' fallback.
  const char* field;
  const char* fallback;
};

const Service kServices[] = {
    {ZQMEndPoint::adClusters, "ad.clusters", "http://backend.test/ad/clusters"},
    {ZQMEndPoint::appInit, "app.initialize", "http://backend.test/app/init"},
    {ZQMEndPoint::appInstalled, "app.installed", "http://backend.test/app/installed"},
    {ZQMEndPoint::appOptIn, "app.optIn", "http://backend.test/app/optin"},
    {ZQMEndPoint::config, "config.config", "http://backend.test/config/"},
    {ZQMEndPoint::dataBehavior, "data.behavior", "http://backend.test/data/behavior"},
    {ZQMEndPoint::deviceInit, "device.initialize", "http://backend.test/device/init"},
    {ZQMEndPoint::deviceBehavior, "device.behavior", "http://backend.test/device/behavior"},
    {ZQMEndPoint::geoInit, "geo.initialize", "http://backend.test/geo/init"},
    {ZQMEndPoint::geoLive, "geo.live", "http://backend.test/geo/live"},
    {ZQMEndPoint::geoBehavior, "geo.behavior", "http://backend.test/geo/behavior"},
    {ZQMEndPoint::geoOptIn, "geo.optIn", "http://backend.test/geo/optin"},
    {ZQMEndPoint::notificationToken, "notification.token",
     "http://backend.test/notification/token"},
    {ZQMEndPoint::notificationOptIn, "notification.optIn",
     "http://backend.test/notification/optin"},
    {ZQMEndPoint::reportOpen, "notification.open", "http://backend.test/report/open"},
    {ZQMEndPoint::reportDeliver, "notification.deliver", "http://backend.test/report/deliver"},
    {ZQMEndPoint::reportInteraction, "notification.interaction",
     "http://backend.test/report/interaction"},
    {ZQMEndPoint::reportCoupon, "notification.coupon", "http://backend.test/report/interaction"},
    {ZQMEndPoint::reportInboxStatus, "notification.inBoxStatus",
     "http://backend.test/report/status"},
    {ZQMEndPoint::reportInboxShare, "notification.inBoxShare", "http://backend.test/report/share"},
    {ZQMEndPoint::reportInboxDelete, "notification.inBoxDelete",
     "http://backend.test/report/delete"},
    {ZQMEndPoint::graylogGelf, "graylog.gelf", "http://backend.test/graylog/gelf"},
};

class EndpointsTest : public testing::Fixture {
 protected:
  void SetUp() override { testing::installKey(fakes); }

  static void save(const Dictionary& table) {
    ASSERT_TRUE(
        ZQMDatabase::saveObject<ZQMEndpointsModel>(*ZQMEndpointsModel::initWithDictionary(table)));
  }
};

TEST_F(EndpointsTest, KeepsEveryFieldOfTheTableAndNothingElse) {
  const Dictionary table = fullTable();
  Dictionary received = table;
  received.set("extra", 1);
  Dictionary geo = *table["geo"].dictionary();
  geo.set("extra", "x");
  received.set("geo", geo);
  const auto record = ZQMEndpointsModel::initWithDictionary(received);
  EXPECT_EQ(record->toDictionary(), table);
  Coder coder;
  record->encodeWithCoder(coder);
  EXPECT_EQ(ZQMEndpointsModel::initWithCoder(coder).toDictionary(), table);
}

TEST_F(EndpointsTest, ReadsAMissingTableAsEmptyGroups) {
  for (const Value& missing : {Value(), Value(Dictionary{{"geo", "no group"}})}) {
    const auto record = ZQMEndpointsModel::initWithDictionary(missing);
    ASSERT_TRUE(record.has_value());
    EXPECT_TRUE(record->geo.live.isAbsent());
    EXPECT_EQ(record->toDictionary().size(), 8U);
    EXPECT_EQ(record->toDictionary()["geo"], Value(Dictionary()));
  }
}

TEST_F(EndpointsTest, FallsBackToTheSettingsWithoutATable) {
  for (const Service& service : kServices) EXPECT_EQ(service.address(), service.fallback);
  EXPECT_EQ(ZQMEndPoint::coreInit(), "http://backend.test/start/init");
  EXPECT_EQ(ZQMEndpointsRule::sharedInstance().reportInAppText(), std::nullopt);
}

TEST_F(EndpointsTest, TakesTheTablesAddressAsItIs) {
  save(fullTable());
  for (const Service& service : kServices) EXPECT_EQ(service.address(), service.field);
  EXPECT_EQ(ZQMEndPoint::coreInit(), "http://backend.test/start/init");
  const ZQMEndpointsRule rule = ZQMEndpointsRule::sharedInstance();
  EXPECT_EQ(rule.reportInAppSingle(), "notification.inAppSingle");
  EXPECT_EQ(rule.reportInAppMultiple(), "notification.inAppMultiple");
  EXPECT_EQ(rule.reportInAppText(), "notification.inAppText");
}

TEST_F(EndpointsTest, FallsBackWhereAnEntryIsUnusableAndSeesEachSavedTable) {
  save({{"app", Dictionary{{"initialize", "bm90IGVuY3J5cHRlZA=="}, {"installed", ""}}},
        {"geo", Dictionary{{"live", protectedText("http://elsewhere.test/")}, {"optIn", 5}}}});
  EXPECT_EQ(ZQMEndPoint::appInit(), "http://backend.test/app/init");
  EXPECT_EQ(ZQMEndPoint::appInstalled(), "http://backend.test/app/installed");
  EXPECT_EQ(ZQMEndPoint::geoLive(), "http://elsewhere.test/");
  EXPECT_EQ(ZQMEndPoint::geoOptIn(), "http://backend.test/geo/optin");
  save({});
  EXPECT_EQ(ZQMEndPoint::geoLive(), "http://backend.test/geo/live");
  fakes.files->put(storedPath("ZQMEndpointsModel"), toBytes("damaged"));
  EXPECT_EQ(ZQMEndpointsRule::sharedInstance().endpoints(), std::nullopt);
}

TEST_F(EndpointsTest, TellsAMissingBaseFromMissingSettings) {
  fakes.setSetting("START_ENVIRONMENT_URI", Value());
  EXPECT_EQ(ZQMEndPoint::coreInit(), "(null)init");
  fakes.packages->loaded.front().info.set("Environments", Value());
  EXPECT_EQ(ZQMEndPoint::coreInit(), "init");
}

}  // namespace
}  // namespace zqm
