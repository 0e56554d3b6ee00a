// ZQMEndPoint: the address of every backend service.
#pragma once

#include <string>

#include "zqm/core/settings/ZQMEnvironmentUtil.h"
#include "zqm/endpoints/ZQMEndpointsRule.h"

namespace zqm {

// Each call looks its address up: the one that the backend sent with the last accepted start, else
// the service's base address in the settings followed by a fixed path. An absent base address
// becomes "(null)", which no request accepts.
class ZQM_EXPORT ZQMEndPoint {
 public:
  static std::string adClusters() { return find(&Rule::adClusters, kAd, "clusters"); }
  static std::string appInit() { return find(&Rule::appInit, kApp, "init"); }
  static std::string appInstalled() { return find(&Rule::appInstalled, kApp, "installed"); }
  // The paths are lower case, unlike some of the table's keys.
  static std::string appOptIn() { return find(&Rule::appOptIn, kApp, "optin"); }
  // The base address alone.
  static std::string config() { return find(&Rule::config, kConfig, ""); }
  // Never from the table, which does not exist before the first start.
  static std::string coreInit();
  static std::string dataBehavior() { return find(&Rule::dataBehavior, kData, "behavior"); }
  static std::string deviceInit() { return find(&Rule::deviceInit, kDevice, "init"); }
  static std::string deviceBehavior() { return find(&Rule::deviceBehavior, kDevice, "behavior"); }
  static std::string geoInit() { return find(&Rule::geoInit, kGeo, "init"); }
  static std::string geoLive() { return find(&Rule::geoLive, kGeo, "live"); }
  static std::string geoBehavior() { return find(&Rule::geoBehavior, kGeo, "behavior"); }
  static std::string geoOptIn() { return find(&Rule::geoOptIn, kGeo, "optin"); }
  static std::string notificationToken() {
    return find(&Rule::notificationToken, kNotification, "token");
  }
  static std::string notificationOptIn() {
    return find(&Rule::notificationOptIn, kNotification, "optin");
  }
  static std::string reportOpen() { return find(&Rule::reportOpen, kReport, "open"); }
  static std::string reportDeliver() { return find(&Rule::reportDeliver, kReport, "deliver"); }
  static std::string reportInteraction() {
    return find(&Rule::reportInteraction, kReport, "interaction");
  }
  // Same path as the interaction report.
  static std::string reportCoupon() { return find(&Rule::reportCoupon, kReport, "interaction"); }
  static std::string reportInboxStatus() {
    return find(&Rule::reportInBoxStatus, kInbox, "status");
  }
  static std::string reportInboxShare() { return find(&Rule::reportInBoxShare, kInbox, "share"); }
  static std::string reportInboxDelete() {
    return find(&Rule::reportInBoxDelete, kInbox, "delete");
  }
  static std::string graylogGelf() { return find(&Rule::graylogGelf, kGraylog, "gelf"); }

 private:
  using Rule = ZQMEndpointsRule;
  using Settings = ZQMEnvironmentUtil;
  using Lookup = Rule::Address (Rule::*)() const;
  using Base = Text (*)();

  // Accessors of the base addresses in the settings.
  static constexpr Base kAd = Settings::adEnvironmentUri;
  static constexpr Base kApp = Settings::appEnvironmentUri;
  static constexpr Base kConfig = Settings::configEnvironmentUri;
  static constexpr Base kData = Settings::dataEnvironmentUri;
  static constexpr Base kDevice = Settings::deviceEnvironmentUri;
  static constexpr Base kGeo = Settings::geoEnvironmentUri;
  static constexpr Base kNotification = Settings::notificationEnvironmentUri;
  static constexpr Base kReport = Settings::reportEnvironmentUri;
  static constexpr Base kInbox = Settings::reportInboxEnvironmentUri;
  static constexpr Base kGraylog = Settings::graylogEnvironmentUri;

  static std::string find(Lookup lookup, Base base, const char* path);
};

}  // namespace zqm
