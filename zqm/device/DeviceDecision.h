// Decides whether the device is to be registered and whether its profile is to be sent, and why:
// pure functions of their facts.
#pragma once

#include <optional>
#include <string>

#include "zqm/device/ZQMDeviceModel.h"

namespace zqm {

struct DeviceInitFacts {
  // The stored profile, if any.
  std::optional<ZQMDeviceModel> device;
  // How long a response stays valid. Set by the backend, so it may be any number.
  std::int32_t hours = 0;
  Date now;
};

enum class DeviceInitReason {
  neverAttempted,
  lastAttemptFailed,
  responseExpired,
  registered,
  rejected,
};

struct DeviceInitDecision {
  bool due = false;
  DeviceInitReason reason = DeviceInitReason::neverAttempted;
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
