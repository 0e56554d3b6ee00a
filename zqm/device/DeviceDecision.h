// The decisions whether the device is to be registered and whether its profile is to be sent, and
// why: functions of facts alone.
#pragma once

#include <optional>
#include <string>

#include "zqm/device/ZQMDeviceModel.h"

namespace zqm {

struct DeviceInitFacts {
  // The stored profile, if any.
  std::optional<ZQMDeviceModel> device;
  // How long an answer of the backend holds. The backend sets it: it may be anything.
  std::int32_t hours = 0;
  Date now;
};

enum class DeviceInitReason {
  neverAsked,
  lastAttemptFailed,
  answerExpired,
  registered,
  rejected,
};

struct DeviceInitDecision {
  bool due = false;
  DeviceInitReason reason = DeviceInitReason::neverAsked;
  // The profile to go on with: the stored one or, where there is none, an empty one.
  ZQMDeviceModel device;
};

ZQM_EXPORT DeviceInitDecision deviceInitDecision(const DeviceInitFacts& facts);

enum class ProfileSendReason {
  noProfile,
  unchanged,
  changed,
};

struct ProfileSendDecision {
  bool due = false;
  ProfileSendReason reason = ProfileSendReason::noProfile;
};

// `device` is the stored profile, if any.
ZQM_EXPORT ProfileSendDecision profileSendDecision(const std::optional<ZQMDeviceModel>& device);

// The reason as a sentence for an integrator.
ZQM_EXPORT std::string describe(DeviceInitReason reason);
ZQM_EXPORT std::string describe(ProfileSendReason reason);

}  // namespace zqm
