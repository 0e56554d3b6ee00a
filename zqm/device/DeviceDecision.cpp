// Decides whether a registration or a profile is due.
#include "zqm/device/DeviceDecision.h"

#include "zqm/util/Date.h"

namespace zqm {
namespace {

DeviceInitReason reasonFor(const DeviceInitFacts& facts) {
  if (!facts.device) return DeviceInitReason::neverAsked;
  if (!facts.device->dateStart) return DeviceInitReason::lastAttemptFailed;
  if (lessThanDate(addHour(*facts.device->dateStart, facts.hours), facts.now)) {
    return DeviceInitReason::answerExpired;
  }
  return facts.device->isStarted ? DeviceInitReason::registered : DeviceInitReason::rejected;
}

ProfileSendReason reasonFor(const std::optional<ZQMDeviceModel>& device) {
  if (!device) return ProfileSendReason::noProfile;
  return device->updated ? ProfileSendReason::changed : ProfileSendReason::unchanged;
}

}  // namespace

DeviceInitDecision deviceInitDecision(const DeviceInitFacts& facts) {
  const DeviceInitReason reason = reasonFor(facts);
  const bool rests = reason == DeviceInitReason::registered || reason == DeviceInitReason::rejected;
  return {!rests, reason, facts.device.value_or(ZQMDeviceModel())};
}

ProfileSendDecision profileSendDecision(const std::optional<ZQMDeviceModel>& device) {
  const ProfileSendReason reason = reasonFor(device);
  return {reason == ProfileSendReason::changed, reason};
}

std::string describe(DeviceInitReason reason) {
  switch (reason) {
    case DeviceInitReason::neverAsked:
      return "the device was never registered";
    case DeviceInitReason::lastAttemptFailed:
      return "the last attempt to register the device failed";
    case DeviceInitReason::answerExpired:
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
