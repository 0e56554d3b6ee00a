// ZQMEndPoint: the address of every backend service.
#pragma once

#include <string>

#include "zqm/base/Export.h"

namespace zqm {

// Each address is looked up at each call: the one that the backend sent with the last accepted
// start, otherwise one made of the service's base address in the settings and a fixed path. An
// absent base address reads as "(null)", which no request accepts.
class ZQM_EXPORT ZQMEndPoint {
 public:
  static std::string adClusters();
  static std::string appInit();
  static std::string appInstalled();
  static std::string appOptIn();
  static std::string config();
  // Never from the table, which does not exist before the first start.
  static std::string coreInit();
  static std::string dataBehavior();
  static std::string deviceInit();
  static std::string deviceBehavior();
  static std::string geoInit();
  static std::string geoLive();
  static std::string geoBehavior();
  static std::string geoOptIn();
  static std::string notificationToken();
  static std::string notificationOptIn();
  static std::string reportOpen();
  static std::string reportDeliver();
  static std::string reportInteraction();
  static std::string reportCoupon();
  static std::string reportInboxStatus();
  static std::string reportInboxShare();
  static std::string reportInboxDelete();
  static std::string graylogGelf();
};

}  // namespace zqm
