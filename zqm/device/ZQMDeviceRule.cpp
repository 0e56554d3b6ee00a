// Registers the device, compares its profile with the device, and sends it.
#include "zqm/device/ZQMDeviceRule.h"

#include "zqm/config/ZQMConfigRule.h"
#include "zqm/device/DeviceDecision.h"
#include "zqm/device/ZQMDeviceModel.h"
#include "zqm/device/ZQMDeviceRequest.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/model/StoreReport.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/platform/Process.h"

namespace zqm {
namespace {

PerProcess<ZQMDeviceRule> shared;

constexpr const char* kInitFailedDomain = "Could not start DeviceBehavior.";

// The profile after a response to the registration. A failure clears it, so that the next success
// is followed by a complete one.
ZQMDeviceModel afterResponse(ZQMDeviceModel device, std::int64_t status, Date now) {
  if (status != kDeviceRegistered) device = ZQMDeviceModel();
  device.isStarted = status == kDeviceRegistered;
  if (status != kDeviceFailed) device.dateStart = now;
  return device;
}

// If a response cannot be saved, the backend will be asked again.
void saveAfterResponse(const ZQMDeviceModel& device) {
  const Saved saved = ZQMDatabase::saveRecord<ZQMDeviceModel>(device);
  reportKept(saved, kDeviceBehaviorModule);
  if (!saved.isDone) {
    reportUnsaved(std::string(ZQMDeviceModel::kClassName), kDeviceBehaviorModule);
  }
}

// Converts a probe's result to the type of the profile's member.
bool asStored(bool flag) { return flag; }
Text asStored(Text text) { return text; }
Value asStored(const std::vector<std::string>& names) { return List(names.begin(), names.end()); }

bool differs(bool fresh, bool stored) { return fresh != stored; }

// An unavailable fact differs from everything, even from an unavailable one before, so that such a
// profile is sent at every verification.
bool differs(const Value& fresh, const Value& stored) {
  return fresh.isAbsent() || fresh != stored;
}

}  // namespace

ZQMDeviceRule& ZQMDeviceRule::sharedInstance() { return *shared; }

void ZQMDeviceRule::startModule() {
  auto [state, stored] = ZQMDatabase::findRecord<ZQMDeviceModel>();
  if (state == FileState::unreadable) {
    // The device may be registered: do not register it again, and do not overwrite its profile.
    reportUnreadable(ZQMDeviceModel::kClassName, "nothing is sent", kDeviceBehaviorModule);
    return finish(kDeviceFailed);
  }
  const ZQMDeviceModel device = stored.value_or(ZQMDeviceModel());
  const DeviceInitFacts facts{std::move(stored),
                              ZQMConfigRule::sharedInstance().getHoursToCallStartDevicebehavior(),
                              platform().clock->now()};
  if (!deviceInitDecision(facts).due) {
    ZQMDatabase::saveObject<ZQMDeviceModel>(device);
    return finish(device.isStarted ? kDeviceRegistered : kDeviceRejected);
  }
  ZQMDeviceRequest::startWithCompletionHandler(
      [this, device](std::int64_t status, const std::optional<Error>& error) {
        if (error) {
          ZQMLogHandler::logError(error->rewrapped(kInitFailedDomain), kDeviceBehaviorModule, 4);
        }
        saveAfterResponse(afterResponse(device, status, platform().clock->now()));
        finish(status);
      });
}

void ZQMDeviceRule::finish(std::int64_t status) {
  startHandlers_.run(status);
  startHandlers_.clear();
}

bool ZQMDeviceRule::isDeviceStarted() const {
  const auto device = ZQMDatabase::readRecord<ZQMDeviceModel>();
  return device && device->isStarted;
}

void ZQMDeviceRule::updatedInfo() {
  auto device = ZQMDatabase::readRecord<ZQMDeviceModel>();
  if (!device) return;
  device->dateTime = platform().clock->now();
  ZQMDeviceModel::forEachRow([&](const auto& row) {
    if constexpr (requires { row.probe; }) {
      auto& stored = (*device).*row.member;
      if (!differs(asStored(row.probe()), stored)) return;
      // Probed again, so that a fact that is just changing is stored with its latest value.
      stored = asStored(row.probe());
      device->updated = true;
    }
  });
  ZQMDatabase::saveObject<ZQMDeviceModel>(*device);
}

void ZQMDeviceRule::updatedDevice() {
  const auto stored = ZQMDatabase::readRecord<ZQMDeviceModel>();
  if (!profileSendDecision(stored).due) return;
  ZQMDeviceRequest::sendBehaviorInDictionary(
      stored->toDictionary(), [device = *stored](const std::optional<std::string>& response,
                                                 const std::optional<Error>& error) mutable {
        if (error) ZQMLogHandler::logError(*error, kDeviceBehaviorModule, 4);
        if (!response) return;
        device.updated = false;
        saveAfterResponse(device);
      });
}

}  // namespace zqm
