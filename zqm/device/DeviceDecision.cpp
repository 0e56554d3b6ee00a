// Decides whether a registration or a profile is due.
#include "zqm/device/DeviceDecision.h"

#include "zqm/util/Date.h"

namespace zqm {

DeviceInitDecision deviceInitDecision(const DeviceInitFacts& facts) {
  const auto& device = facts.device;
  if (!device) return {true, DeviceInitReason::neverAttempted};
  if (!device->dateStart) return {true, DeviceInitReason::lastAttemptFailed};
  if (lessThanDate(addHour(*device->dateStart, facts.hours), facts.now)) {
    return {true, DeviceInitReason::responseExpired};
  }
  return {false, device->isStarted ? DeviceInitReason::registered : DeviceInitReason::rejected};
}

ProfileSendDecision profileSendDecision(const std::optional<ZQMDeviceModel>& device) {
  if (!device) return {false, ProfileSendReason::noProfile};
  if (!device->updated) return {false, ProfileSendReason::unchanged};
  return {true, ProfileSendReason::changed};
}

std::string describe(DeviceInitReason reason) {
  switch (reason) {
    case DeviceInitReason::neverAttempted:
      return "the device was never registered";
    case DeviceInitReason::lastAttemptFailed:
      return "the last attempt to register the device failed";
    case DeviceInitReason::responseExpired:
      return "the backend's last answer is as old as the configured hours, or older";
    case DeviceInitReason::registered:
      return "the backend registered the device less than the configured hours ago";
    case DeviceInitReason::rejected:
      return "the backend rejected the device less than the configured hours ago";
  }
  return "";
}

std::string describe(ProfileSendReason reason) {
  switch (reason) {
    case ProfileSendReason::noProfile:
      return "no profile of the device is stored";
    case ProfileSendReason::unchanged:
      return "nothing in the profile changed since it was last sent";
    case ProfileSendReason::changed:
      return "a value of the profile changed, or the last attempt to send it failed";
  }
  return "";
}

}  // namespace zqm
