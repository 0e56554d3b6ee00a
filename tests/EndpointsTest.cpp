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

struct Service {
  std::string (*address)();
  // Of the table, and what the settings give without it.
  const char* field;
  const char* fallback;
};

const Service kServices[] = {
    {ZQMEndPoint::adClusters, "ad.clusters", "ad/clusters"},
    {ZQMEndPoint::appInit, "app.initialize", "app/init"},
    {ZQMEndPoint::appInstalled, "app.installed", "app/installed"},
    {ZQMEndPoint::appOptIn, "app.optIn", "app/optin"},
    {ZQMEndPoint::config, "config.config", "config/"},
    {ZQMEndPoint::dataBehavior, "data.behavior", "data/behavior"},
    {ZQMEndPoint::deviceInit, "device.initialize", "device/init"},
    {ZQMEndPoint::deviceBehavior, "device.behavior", "device/behavior"},
    {ZQMEndPoint::geoInit, "geo.initialize", "geo/init"},
    {ZQMEndPoint::geoLive, "geo.live", "geo/live"},
    {ZQMEndPoint::geoBehavior, "geo.behavior", "geo/behavior"},
    {ZQMEndPoint::geoOptIn, "geo.optIn", "geo/optin"},
    {ZQMEndPoint::notificationToken, "notification.token", "notification/token"},
    {ZQMEndPoint::notificationOptIn, "notification.optIn", "notification/optin"},
    {ZQMEndPoint::reportOpen, "notification.open", "report/open"},
    {ZQMEndPoint::reportDeliver, "notification.deliver", "report/deliver"},
    {ZQMEndPoint::reportInteraction, "notification.interaction", "report/interaction"},
    {ZQMEndPoint::reportCoupon, "notification.coupon", "report/interaction"},
    {ZQMEndPoint::reportInboxStatus, "notification.inBoxStatus", "report/status"},
    {ZQMEndPoint::reportInboxShare, "notification.inBoxShare", "report/share"},
    {ZQMEndPoint::reportInboxDelete, "notification.inBoxDelete", "report/delete"},
    {ZQMEndPoint::graylogGelf, "graylog.gelf", "graylog/gelf"},
};

// Every field of the table, each holding its own protected name.
Dictionary fullTable() {
  std::vector<std::string> fields = {"notification.inAppSingle", "notification.inAppMultiple",
                                     "notification.inAppText"};
  for (const Service& service : kServices) fields.emplace_back(service.field);
  Dictionary table;
  for (const std::string& field : fields) {
    const std::string group = field.substr(0, field.find('.'));
    Dictionary entries = table[group].dictionary() ? *table[group].dictionary() : Dictionary();
    entries.set(field.substr(group.size() + 1), protectedText(field));
    table.set(group, entries);
  }
  return table;
}

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
  for (const Service& service : kServices) {
    EXPECT_EQ(service.address(), std::string("http://backend.test/") + service.fallback);
  }
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
