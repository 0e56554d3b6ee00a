// The public entry points: forward every call and keep every exception from the host.
#include "zqm/core/ZQMCore.h"

#include <atomic>

#include "zqm/base/Exception.h"
#include "zqm/core/ZQMCoreModule.h"
#include "zqm/core/ZQMCoreRule.h"
#include "zqm/core/user/ZQMUserRule.h"
#include "zqm/device/ZQMDeviceInfo.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/platform/Process.h"
#include "zqm/queue/executor/ZQMExecutorOperation.h"

namespace zqm {
namespace {

PerProcess<std::atomic<bool>> debugMode;

constexpr auto report = reportAs(kCoreModule, 4);

}  // namespace

ZQMCoreModule::~ZQMCoreModule() = default;

void ZQMCoreModule::start() { throw mustOverride("start"); }

void ZQMCore::startWithAppId(const Text& appId,
                             std::vector<std::shared_ptr<ZQMCoreModule>> kitModules) {
  guarded(
      [&] {
        start(appId, [kitModules = std::move(kitModules)] {
          for (const auto& kitModule : kitModules) {
            if (kitModule) kitModule->start();
          }
        });
      },
      report);
}

void ZQMCore::start(const Text& appId, std::function<void()> startHandler) {
  guarded(
      [&] {
        ZQMCoreRule::sharedInstance().startHandlers().join(std::move(startHandler), [&] {
          execute(kCoreModule, [appId] { ZQMCoreRule::sharedInstance().startCore(appId); });
        });
      },
      report);
}

void ZQMCore::restart() {
  guarded([] { ZQMCoreRule::sharedInstance().restartCore(); }, report);
}

bool ZQMCore::isStarted() {
  bool started = false;
  guarded([&] { started = ZQMUserRule::sharedInstance().isStarted(); }, report);
  return started;
}

void ZQMCore::setDebugMode(bool on) {
  guarded([&] { *debugMode = on; }, report);
}

bool ZQMCore::isInDebugMode() {
  bool on = false;
  guarded([&] { on = *debugMode; }, report);
  return on;
}

std::string ZQMCore::getIOSAdvertisingId() {
  std::string identifier;
  guarded([&] { identifier = ZQMDeviceInfo::advertisingId(); }, report);
  return identifier;
}

}  // namespace zqm
