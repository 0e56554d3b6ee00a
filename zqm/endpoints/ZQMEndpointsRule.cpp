// Which entry of the table each lookup decrypts.
#include "zqm/endpoints/ZQMEndpointsRule.h"

#include "zqm/core/ZQMUtils.h"
#include "zqm/model/ZQMDatabase.h"

namespace zqm {
namespace {

using Address = std::optional<std::string>;
using Table = ZQMEndpointsModel;

template <class Group>
Address decrypted(const std::optional<Table>& table, Group Table::*group, Text Group::*entry) {
  return ZQMUtils::decryptoString(table ? (*table).*group.*entry : Text());
}

}  // namespace

ZQMEndpointsRule::ZQMEndpointsRule() : endpoints_(ZQMDatabase::readRecord<Table>()) {}

ZQMEndpointsRule ZQMEndpointsRule::sharedInstance() { return {}; }

void ZQMEndpointsRule::setEndpoints(std::optional<ZQMEndpointsModel> endpoints) {
  endpoints_ = std::move(endpoints);
}

Address ZQMEndpointsRule::adClusters() const {
  return decrypted(endpoints_, &Table::ad, &ZQMAdEndpointModel::clusters);
}

Address ZQMEndpointsRule::appInit() const {
  return decrypted(endpoints_, &Table::app, &ZQMAppEndpointModel::initialize);
}

Address ZQMEndpointsRule::appInstalled() const {
  return decrypted(endpoints_, &Table::app, &ZQMAppEndpointModel::installed);
}

Address ZQMEndpointsRule::appOptIn() const {
  return decrypted(endpoints_, &Table::app, &ZQMAppEndpointModel::optIn);
}

Address ZQMEndpointsRule::config() const {
  return decrypted(endpoints_, &Table::config, &ZQMConfigEndpointModel::config);
}

Address ZQMEndpointsRule::dataBehavior() const {
  return decrypted(endpoints_, &Table::data, &ZQMDataEndpointModel::behavior);
}

Address ZQMEndpointsRule::deviceInit() const {
  return decrypted(endpoints_, &Table::device, &ZQMDeviceEndpointModel::initialize);
}

Address ZQMEndpointsRule::deviceBehavior() const {
  return decrypted(endpoints_, &Table::device, &ZQMDeviceEndpointModel::behavior);
}

Address ZQMEndpointsRule::geoInit() const {
  return decrypted(endpoints_, &Table::geo, &ZQMGeoEndpointModel::initialize);
}

Address ZQMEndpointsRule::geoLive() const {
  return decrypted(endpoints_, &Table::geo, &ZQMGeoEndpointModel::live);
}

Address ZQMEndpointsRule::geoBehavior() const {
  return decrypted(endpoints_, &Table::geo, &ZQMGeoEndpointModel::behavior);
}

Address ZQMEndpointsRule::geoOptIn() const {
  return decrypted(endpoints_, &Table::geo, &ZQMGeoEndpointModel::optIn);
}

Address ZQMEndpointsRule::notificationToken() const {
  return decrypted(endpoints_, &Table::notification, &ZQMNotificationEndpointModel::token);
}

Address ZQMEndpointsRule::notificationOptIn() const {
  return decrypted(endpoints_, &Table::notification, &ZQMNotificationEndpointModel::optIn);
}

Address ZQMEndpointsRule::reportOpen() const {
  return decrypted(endpoints_, &Table::notification, &ZQMNotificationEndpointModel::open);
}

Address ZQMEndpointsRule::reportDeliver() const {
  return decrypted(endpoints_, &Table::notification, &ZQMNotificationEndpointModel::deliver);
}

Address ZQMEndpointsRule::reportInteraction() const {
  return decrypted(endpoints_, &Table::notification, &ZQMNotificationEndpointModel::interaction);
}

Address ZQMEndpointsRule::reportCoupon() const {
  return decrypted(endpoints_, &Table::notification, &ZQMNotificationEndpointModel::coupon);
}

Address ZQMEndpointsRule::reportInBoxStatus() const {
  return decrypted(endpoints_, &Table::notification, &ZQMNotificationEndpointModel::inBoxStatus);
}

Address ZQMEndpointsRule::reportInBoxShare() const {
  return decrypted(endpoints_, &Table::notification, &ZQMNotificationEndpointModel::inBoxShare);
}

Address ZQMEndpointsRule::reportInBoxDelete() const {
  return decrypted(endpoints_, &Table::notification, &ZQMNotificationEndpointModel::inBoxDelete);
}

Address ZQMEndpointsRule::reportInAppSingle() const {
  return decrypted(endpoints_, &Table::notification, &ZQMNotificationEndpointModel::inAppSingle);
}

Address ZQMEndpointsRule::reportInAppMultiple() const {
  return decrypted(endpoints_, &Table::notification, &ZQMNotificationEndpointModel::inAppMultiple);
}

Address ZQMEndpointsRule::reportInAppText() const {
  return decrypted(endpoints_, &Table::notification, &ZQMNotificationEndpointModel::inAppText);
}

Address ZQMEndpointsRule::graylogGelf() const {
  return decrypted(endpoints_, &Table::graylog, &ZQMGraylogEndpointModel::gelf);
}

}  // namespace zqm
