// ZQMEndpointsRule: the addresses of the stored endpoint table, decrypted on each access.
#pragma once

#include <optional>
#include <string>

#include "zqm/endpoints/ZQMEndpointModels.h"

namespace zqm {

class ZQM_EXPORT ZQMEndpointsRule {
 public:
  // Reads the stored table, if there is one.
  ZQMEndpointsRule();

  // Returns a new rule on each call, so that lookups use the table as it was last saved.
  static ZQMEndpointsRule sharedInstance();

  const std::optional<ZQMEndpointsModel>& endpoints() const { return endpoints_; }
  void setEndpoints(std::optional<ZQMEndpointsModel> endpoints);

  // A complete address; std::nullopt if the table lacks the entry or it cannot be decrypted.
  using Address = std::optional<std::string>;
  Address adClusters() const { return find(&ZQMAdEndpointModel::clusters); }
  Address appInit() const { return find(&ZQMAppEndpointModel::initialize); }
  Address appInstalled() const { return find(&ZQMAppEndpointModel::installed); }
  Address appOptIn() const { return find(&ZQMAppEndpointModel::optIn); }
  Address config() const { return find(&ZQMConfigEndpointModel::config); }
  Address dataBehavior() const { return find(&ZQMDataEndpointModel::behavior); }
  Address deviceInit() const { return find(&ZQMDeviceEndpointModel::initialize); }
  Address deviceBehavior() const { return find(&ZQMDeviceEndpointModel::behavior); }
  Address geoInit() const { return find(&ZQMGeoEndpointModel::initialize); }
  Address geoLive() const { return find(&ZQMGeoEndpointModel::live); }
  Address geoBehavior() const { return find(&ZQMGeoEndpointModel::behavior); }
  Address geoOptIn() const { return find(&ZQMGeoEndpointModel::optIn); }
  Address notificationToken() const { return find(&ZQMNotificationEndpointModel::token); }
  Address notificationOptIn() const { return find(&ZQMNotificationEndpointModel::optIn); }
  Address reportOpen() const { return find(&ZQMNotificationEndpointModel::open); }
  Address reportDeliver() const { return find(&ZQMNotificationEndpointModel::deliver); }
  Address reportInteraction() const { return find(&ZQMNotificationEndpointModel::interaction); }
  Address reportCoupon() const { return find(&ZQMNotificationEndpointModel::coupon); }
  Address reportInBoxStatus() const { return find(&ZQMNotificationEndpointModel::inBoxStatus); }
  Address reportInBoxShare() const { return find(&ZQMNotificationEndpointModel::inBoxShare); }
  Address reportInBoxDelete() const { return find(&ZQMNotificationEndpointModel::inBoxDelete); }
  Address reportInAppSingle() const { return find(&ZQMNotificationEndpointModel::inAppSingle); }
  Address reportInAppMultiple() const { return find(&ZQMNotificationEndpointModel::inAppMultiple); }
  Address reportInAppText() const { return find(&ZQMNotificationEndpointModel::inAppText); }
  Address graylogGelf() const { return find(&ZQMGraylogEndpointModel::gelf); }

 private:
  // Each type of group occurs once in the table, so its type finds it.
  template <class Group>
  Address find(Text Group::*entry) const {
    constexpr auto kGroup = std::get<Field<ZQMEndpointsModel, Group>>(ZQMEndpointsModel::kFields);
    return decrypted(endpoints_ ? (*endpoints_).*kGroup.member.*entry : Text());
  }
  static Address decrypted(const Text& entry);

  std::optional<ZQMEndpointsModel> endpoints_;
};

}  // namespace zqm
