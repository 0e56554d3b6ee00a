// ZQMDeviceModel: the device's profile as the backend was told it, and the state of its
// registration.
#pragma once

#include "zqm/model/Record.h"

namespace zqm {

class ZQM_EXPORT ZQMDeviceModel : public Record<ZQMDeviceModel> {
 public:
  static constexpr std::string_view kClassName = "ZQMDeviceModel";
  static constexpr bool kEmptyWhenAbsent = true;

  // Whether the backend registered the device, and when it last answered; without a date it is
  // asked again at the next start.
  bool isStarted = false;
  std::optional<Date> dateStart;
  // Whether a value below changed since the profile was last sent.
  bool updated = false;
  // When the values below were last compared with the device.
  std::optional<Date> dateTime;
  Text platform;
  Text systemVersion;
  bool isRooted = false;
  Text manufacturer;
  Text codename;
  Text carrier;
  // A list of texts, or absent.
  Value enabledAccessibilityServices;
  Text timezone;
  Text locale;

  static constexpr auto kFields = std::tuple{
      member("isStarted", &Self::isStarted),
      member("dateStart", &Self::dateStart),
      member("updated", &Self::updated),
      member("dateTime", &Self::dateTime),
      member("platform", &Self::platform),
      member("systemVersion", &Self::systemVersion),
      member("isRooted", &Self::isRooted),
      member("manufacturer", &Self::manufacturer),
      member("codename", &Self::codename),
      member("carrier", &Self::carrier),
      member("enabledAccessibilityServices", &Self::enabledAccessibilityServices),
      member("timezone", &Self::timezone),
      member("locale", &Self::locale),
  };
};

}  // namespace zqm
