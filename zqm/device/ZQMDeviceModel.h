// ZQMDeviceModel: the profile of the device that the backend received, and the state of its
// registration.
#pragma once

#include "zqm/device/ZQMDeviceInfo.h"
#include "zqm/model/Record.h"

namespace zqm {

// A row whose member is read from the device by `probe`.
template <class R, class T, class Answer>
struct Fact : Field<R, T> {
  Answer (*probe)();
};
template <class R, class T, class Answer>
constexpr Fact<R, T, Answer> fact(std::string_view name, T R::*member, Answer (*probe)()) {
  return {{name, member}, probe};
}

class ZQM_EXPORT ZQMDeviceModel : public Record<ZQMDeviceModel> {
 public:
  static constexpr std::string_view kClassName = "ZQMDeviceModel";
  static constexpr bool kEmptyWhenAbsent = true;

  // Whether the backend registered the device, and the time of its last response; without a time,
  // the next start asks again.
  bool isStarted = false;
  std::optional<Date> dateStart;
  // Whether a value below changed since the profile was last accepted.
  bool updated = false;
  // When the values below were last compared with the device.
  std::optional<Date> dateTime;
  Text platform;
  Text systemVersion;
  bool isRooted = false;
  Text manufacturer;
  Text codename;
  Text carrier;
  // A list of strings, or absent.
  Value enabledAccessibilityServices;
  Text timezone;
  Text locale;

  // The facts are compared in this order.
  static constexpr auto kFields = std::tuple{
      member("isStarted", &Self::isStarted),
      member("dateStart", &Self::dateStart),
      member("updated", &Self::updated),
      member("dateTime", &Self::dateTime),
      fact("platform", &Self::platform, ZQMDeviceInfo::getPlatform),
      fact("systemVersion", &Self::systemVersion, ZQMDeviceInfo::systemVersion),
      fact("isRooted", &Self::isRooted, ZQMDeviceInfo::isJailbreak),
      fact("manufacturer", &Self::manufacturer, ZQMDeviceInfo::deviceManufacturer),
      fact("codename", &Self::codename, ZQMDeviceInfo::deviceCode),
      fact("carrier", &Self::carrier, ZQMDeviceInfo::getCarrier),
      fact("enabledAccessibilityServices", &Self::enabledAccessibilityServices,
           ZQMDeviceInfo::getCapabilitiesAccessibility),
      fact("timezone", &Self::timezone, ZQMDeviceInfo::getTimeZone),
      fact("locale", &Self::locale, ZQMDeviceInfo::getLocale),
  };
};

}  // namespace zqm
