// Decides whether to fetch and schedules one fetch at a time.
#include "zqm/config/ZQMConfig.h"

#include <atomic>

#include "zqm/base/Exception.h"
#include "zqm/config/ZQMConfigRule.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/platform/Process.h"
#include "zqm/queue/executor/ZQMExecutorOperation.h"

namespace zqm {
namespace {

PerProcess<std::atomic<bool>> isRunning;

}  // namespace

void ZQMConfig::start() {
  guarded(
      [] {
        if (ZQMConfigRule::sharedInstance().isUpdateConfig()) loadRemoteConfig();
      },
      reportAs(kConfigModule, 4));
}

void ZQMConfig::loadRemoteConfig() {
  if (isRunning->exchange(true)) return;
  execute(kConfigModule, [] {
    ZQMConfigRule::sharedInstance().startModule();
    // The request has only been sent, not answered: the flag merely prevents that two are sent at
    // the same time.
    *isRunning = false;
  });
}

}  // namespace zqm
