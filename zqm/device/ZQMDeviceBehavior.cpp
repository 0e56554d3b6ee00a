// Schedules the device rule's work on the executor and on the main thread.
#include "zqm/device/ZQMDeviceBehavior.h"

#include <atomic>

#include "zqm/base/Exception.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/device/ZQMDeviceRequest.h"
#include "zqm/device/ZQMDeviceRule.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/platform/Process.h"
#include "zqm/queue/executor/ZQMExecutorOperation.h"

namespace zqm {
namespace {

PerProcess<std::atomic<bool>> verifying;

constexpr auto report = reportAs(kDeviceBehaviorModule, 3);

void continueAfterStart(std::int64_t status) {
  if (status == kDeviceUnauthorized) return ZQMCore::restart();
  if (status != kDeviceRejected) ZQMDeviceBehavior::verifyUpdate();
}

void send() {
  ZQMDeviceRule::sharedInstance().updatedDevice();
  // The profile has only been sent, not accepted: another verification may send it again.
  *verifying = false;
}

void verify() {
  // The flag stays set: a device that is not registered has nothing to verify until the next
  // launch.
  if (!ZQMDeviceRule::sharedInstance().isDeviceStarted()) return;
  platform().mainThread->post(Process::current().bind([] {
    guarded(
        [] {
          ZQMDeviceRule::sharedInstance().updatedInfo();
          execute(kDeviceBehaviorModule, send);
        },
        report);
  }));
}

}  // namespace

void ZQMDeviceBehavior::start() { start(continueAfterStart); }

void ZQMDeviceBehavior::start(std::function<void(std::int64_t)> handler) {
  guarded(
      [&] {
        ZQMDeviceRule::sharedInstance().startHandlers().join(std::move(handler), [] {
          execute(kDeviceBehaviorModule, [] { ZQMDeviceRule::sharedInstance().startModule(); });
        });
      },
      report);
}

void ZQMDeviceBehavior::verifyUpdate() {
  guarded(
      [] {
        if (!verifying->exchange(true)) execute(kDeviceBehaviorModule, verify);
      },
      report);
}

}  // namespace zqm
