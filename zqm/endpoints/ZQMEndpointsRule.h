// ZQMEndpointsRule: the addresses of the stored endpoint table, decrypted as they are asked for.
#pragma once

#include <optional>
#include <string>

#include "zqm/endpoints/ZQMEndpointModels.h"

namespace zqm {

class ZQM_EXPORT ZQMEndpointsRule {
 public:
  // Reads the stored table, if there is one.
  ZQMEndpointsRule();

  // A new rule at each call: a lookup sees the table as it was last saved.
  static ZQMEndpointsRule sharedInstance();

  const std::optional<ZQMEndpointsModel>& endpoints() const { return endpoints_; }
  void setEndpoints(std::optional<ZQMEndpointsModel> endpoints);

  // Complete addresses; none where the table has no such entry or it does not decrypt.
  std::optional<std::string> adClusters() const;
  std::optional<std::string> appInit() const;
  std::optional<std::string> appInstalled() const;
  std::optional<std::string> appOptIn() const;
  std::optional<std::string> config() const;
  std::optional<std::string> dataBehavior() const;
  std::optional<std::string> deviceInit() const;
  std::optional<std::string> deviceBehavior() const;
  std::optional<std::string> geoInit() const;
  std::optional<std::string> geoLive() const;
  std::optional<std::string> geoBehavior() const;
  std::optional<std::string> geoOptIn() const;
  std::optional<std::string> notificationToken() const;
  std::optional<std::string> notificationOptIn() const;
  std::optional<std::string> reportOpen() const;
  std::optional<std::string> reportDeliver() const;
  std::optional<std::string> reportInteraction() const;
  std::optional<std::string> reportCoupon() const;
  std::optional<std::string> reportInBoxStatus() const;
  std::optional<std::string> reportInBoxShare() const;
  std::optional<std::string> reportInBoxDelete() const;
  std::optional<std::string> reportInAppSingle() const;
  std::optional<std::string> reportInAppMultiple() const;
  std::optional<std::string> reportInAppText() const;
  std::optional<std::string> graylogGelf() const;

 private:
  std::optional<ZQMEndpointsModel> endpoints_;
};

}  // namespace zqm
