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

  template <class Self, class Visit>
  static void fields(Self& self, Visit visit) {
    visit("isStarted", self.isStarted);
    visit("dateStart", self.dateStart);
    visit("updated", self.updated);
    visit("dateTime", self.dateTime);
    visit("platform", self.platform);
    visit("systemVersion", self.systemVersion);
    visit("isRooted", self.isRooted);
    visit("manufacturer", self.manufacturer);
    visit("codename", self.codename);
    visit("carrier", self.carrier);
    visit("enabledAccessibilityServices", self.enabledAccessibilityServices);
    visit("timezone", self.timezone);
    visit("locale", self.locale);
  }
};

}  // namespace zqm
