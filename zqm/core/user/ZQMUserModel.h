// ZQMUserModel: the installation's identity and the state of its registration.
#pragma once

#include "zqm/model/Record.h"

namespace zqm {

class ZQM_EXPORT ZQMUserModel : public Record<ZQMUserModel> {
 public:
  static constexpr std::string_view kClassName = "ZQMUserModel";

  // The identifiers of the last accepted registration; `appId` is the decrypted one.
  Text advertisingId;
  Text appId;
  // The installation's identifier, assigned by the backend.
  Text euid;
  // Whether the backend accepted the last attempt, and the time of that attempt.
  bool started = false;
  std::optional<Date> startedDate;
  // The versions of library and host application at the last accepted attempt.
  Text startedSdkVersion;
  Text startedAppVersion;

  static constexpr auto kFields = std::tuple{
      member("advertisingId", &Self::advertisingId),
      member("appId", &Self::appId),
      member("euid", &Self::euid),
      member("started", &Self::started),
      member("startedDate", &Self::startedDate),
      member("startedSdkVersion", &Self::startedSdkVersion),
      member("startedAppVersion", &Self::startedAppVersion),
  };
};

}  // namespace zqm
