// Puts the device rule's work on the executor and on the main thread.
#include "zqm/device/ZQMDeviceBehavior.h"

#include <atomic>

#include "zqm/base/Exception.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/device/ZQMDeviceRequest.h"
#include "zqm/device/ZQMDeviceRule.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/platform/Process.h"
#include "zqm/queue/ZQMBlockOperation.h"
#include "zqm/queue/ZQMExecutorOperation.h"

namespace zqm {
namespace {

PerProcess<std::atomic<bool>> verifying;

void report(const Exception& exception) {
  ZQMLogHandler::logException(exception, kDeviceBehaviorModule, 3);
}

void execute(std::function<void()> work) {
  ZQMExecutorOperation::sharedInstance().execute(
      ZQMBlockOperation::initWithModuleName(kDeviceBehaviorModule, std::move(work)));
}

void goOn(std::int64_t status) {
  if (status == kDeviceUnauthorized) return ZQMCore::restart();
  if (status != kDeviceRejected) ZQMDeviceBehavior::verifyUpdate();
}

void send() {
  ZQMDeviceRule::sharedInstance().updatedDevice();
  // The send is under way, not done: whoever verifies now may send the same profile again.
  *verifying = false;
}

void verify() {
  // The flag stays set on purpose: a device that is not registered has nothing to verify until
  // the application is launched again.
  if (!ZQMDeviceRule::sharedInstance().isDeviceStarted()) return;
  platform().mainThread->post(Process::current().bind(std::function<void()>([] {
    guarded(
        [] {
          ZQMDeviceRule::sharedInstance().updatedInfo();
          execute(send);
        },
        report);
  })));
}

}  // namespace

void ZQMDeviceBehavior::start() { start(goOn); }

void ZQMDeviceBehavior::start(std::function<void(std::int64_t)> handler) {
  guarded(
      [&] {
        // A call without a handler never occupies the list, hence the one entry that still counts
        // as "no start pending".
        if (ZQMDeviceRule::sharedInstance().startHandlers().append(std::move(handler)) > 1) return;
        execute([] { ZQMDeviceRule::sharedInstance().startModule(); });
      },
      report);
}

void ZQMDeviceBehavior::verifyUpdate() {
  guarded(
      [] {
        if (!verifying->exchange(true)) execute(verify);
      },
      report);
}

}  // namespace zqm
