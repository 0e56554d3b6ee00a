// One run over the queue, and the further runs after failures.
#include "zqm/queue/ZQMQueueOperation.h"

#include <atomic>

#include "zqm/base/Exception.h"
#include "zqm/config/ZQMConfigRule.h"
#include "zqm/core/user/ZQMUserRule.h"
#include "zqm/http/ZQMReachability.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/platform/Process.h"
#include "zqm/queue/QueueDelivery.h"
#include "zqm/queue/SendDecision.h"
#include "zqm/queue/ZQMQueueRule.h"
#include "zqm/queue/executor/ZQMExecutorOperation.h"

namespace zqm {
namespace {

// The number of runs that scheduled themselves. Never reset: a failing backend gets a few of them
// from one process, then none before the next start.
PerProcess<std::atomic<std::int64_t>> attempts;

constexpr std::int64_t kAttemptsAfterFailures = 4;
constexpr std::int64_t kAttemptsForTheRest = 1;

void startAgain(std::int64_t limit) {
  std::int64_t count = *attempts;
  while (count < limit) {
    if (attempts->compare_exchange_weak(count, count + 1)) return ZQMQueueOperation::start();
  }
}

bool maySend(const ZQMQueueDataModel& item, bool onWifi) {
  const std::int32_t hours =
      item.priority ? 0 : ZQMConfigRule::sharedInstance().getHoursBeforeSendQueueNonWifi();
  return sendDecision({item.priority, item.date, onWifi, hours, platform().clock->now()}).maySend;
}

bool deliver(const ZQMQueueDataModel& item) {
  const Bytes* const body = item.data.bytes();
  return deliverQueued(item.url.string().value_or(""), body ? std::optional(*body) : std::nullopt);
}

void run() {
  if (!ZQMUserRule::sharedInstance().hasUser()) return;
  ZQMQueueRule& rule = ZQMQueueRule::sharedInstance();
  const bool onWifi = currentNetwork() == kReachableViaWiFi;
  const std::size_t count = rule.count();
  // The index advances after a removal, too: the item after a delivered one waits for the next run,
  // and once removals have made the list shorter than the index, the range error ends the run.
  for (std::size_t index = 0; index < count; ++index) {
    const auto item = rule.itemAt(index);
    if (!maySend(*item, onWifi)) continue;
    if (deliver(*item)) {
      rule.removeDelivered(item);
    } else if (item->priority) {
      startAgain(kAttemptsAfterFailures);
    }
  }
  if (rule.count() > 0) startAgain(kAttemptsForTheRest);
}

}  // namespace

void ZQMQueueOperation::start() {
  // Reported under the configuration's name, because filters of the remote log rely on it.
  execute(kCoreModule, [] { guarded(run, reportAs(kConfigModule, 4)); });
}

}  // namespace zqm
