// ZQMUserModel: the installation's identity and the state of its registration.
#pragma once

#include "zqm/model/Record.h"

namespace zqm {

class ZQM_EXPORT ZQMUserModel : public Record<ZQMUserModel> {
 public:
  static constexpr std::string_view kClassName = "ZQMUserModel";

  // What the installation was registered with: the plain application identifier among it.
  Text advertisingId;
  Text appId;
  // The identifier that the backend gave the installation.
  Text euid;
  // Whether the backend accepted the last attempt, and when that was made.
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
