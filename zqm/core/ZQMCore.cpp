// The public entry: hands every call on and keeps every failure from the host.
#include "zqm/core/ZQMCore.h"

#include <atomic>

#include "zqm/base/Exception.h"
#include "zqm/core/ZQMCoreModule.h"
#include "zqm/core/ZQMCoreRule.h"
#include "zqm/core/ZQMUserRule.h"
#include "zqm/device/ZQMDeviceInfo.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/platform/Process.h"
#include "zqm/queue/ZQMBlockOperation.h"
#include "zqm/queue/ZQMExecutorOperation.h"

namespace zqm {
namespace {

PerProcess<std::atomic<bool>> debugMode;

void report(const Exception& exception) { ZQMLogHandler::logException(exception, kCoreModule, 4); }

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
        ZQMCoreRule& rule = ZQMCoreRule::sharedInstance();
        ZQMExecutorOperation& executor = ZQMExecutorOperation::sharedInstance();
        // A call without a handler never occupies the list, hence the one entry that still counts
        // as "no start pending".
        if (rule.startHandlers().append(std::move(startHandler)) > 1) return;
        try {
          executor.execute(ZQMBlockOperation::initWithModuleName(
              kCoreModule, [appId] { ZQMCoreRule::sharedInstance().startCore(appId); }));
        } catch (...) {
          // Nothing would ever empty the list.
          rule.startHandlers().clear();
          throw;
        }
      },
      report);
}

void ZQMCore::restart() {
  guarded([] { ZQMCoreRule::sharedInstance().restartCore(); }, report);
}

bool ZQMCore::isStarted() {
  bool started = false;
  guarded(
      [&] {
        const ZQMUserRule& user = ZQMUserRule::sharedInstance();
        started = user.hasUser() && user.isStarted();
      },
      report);
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
