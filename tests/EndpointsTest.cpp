// The endpoint records, and the lookup of every address in table and settings.
#include "zqm/endpoints/ZQMEndPoint.h"

#include "tests/support/FakePlatform.h"
#include "tests/support/Integrator.h"
#include "zqm/endpoints/ZQMEndpointsRule.h"
#include "zqm/model/ZQMDatabase.h"

namespace zqm::testing {
namespace {

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
  std::map<std::string, Dictionary> groups;
  const auto put = [&](const std::string& field) {
    const std::size_t point = field.find('.');
    groups[field.substr(0, point)].set(field.substr(point + 1), protectedText(field));
  };
  for (const Service& service : kServices) put(service.field);
  for (const char* name : {"Single", "Multiple", "Text"})
    put(std::string("notification.inApp") + name);
  Dictionary table;
  for (const auto& [name, fields] : groups) table.set(name, fields);
  return table;
}

class EndpointsTest : public Fixture {
 protected:
  void SetUp() override { installKey(fakes); }

  static void save(const Dictionary& table) {
    ZQMDatabase::saveObject<ZQMEndpointsModel>(*ZQMEndpointsModel::initWithDictionary(table));
  }
};

TEST_F(EndpointsTest, TakesAnAddressFromTheTableAsItIsAndOtherwiseFromTheSettings) {
  for (const Service& service : kServices) {
    EXPECT_EQ(service.address(), std::string("http://backend.test/") + service.fallback);
  }
  save(fullTable());
  for (const Service& service : kServices) EXPECT_EQ(service.address(), service.field);
  const ZQMEndpointsRule rule = ZQMEndpointsRule::sharedInstance();
  EXPECT_EQ(rule.reportInAppSingle(), "notification.inAppSingle");
  EXPECT_EQ(rule.reportInAppMultiple(), "notification.inAppMultiple");
  EXPECT_EQ(rule.reportInAppText(), "notification.inAppText");
}

TEST_F(EndpointsTest, FallsBackWhereAnEntryIsUnusableAndSeesEachSavedTable) {
  save({{"app", Dictionary{{"initialize", "not base64!"}, {"installed", ""}}},
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
  setInfo(fakes.packages->loaded.front(), "Environments", Value());
  EXPECT_EQ(ZQMEndPoint::coreInit(), "init");
}

}  // namespace
}  // namespace zqm::testing
