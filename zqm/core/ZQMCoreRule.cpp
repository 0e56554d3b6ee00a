// The start check: decide, ask, record the response, start the rest.
#include "zqm/core/ZQMCoreRule.h"

#include "zqm/base/Exception.h"
#include "zqm/config/ZQMConfig.h"
#include "zqm/core/StartRequest.h"
#include "zqm/core/settings/Resources.h"
#include "zqm/core/user/ZQMUserModel.h"
#include "zqm/core/user/ZQMUserRule.h"
#include "zqm/device/ZQMDeviceBehavior.h"
#include "zqm/device/ZQMDeviceInfo.h"
#include "zqm/log/ZQMDebugInfo.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/model/RecordFile.h"
#include "zqm/model/StoreReport.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/platform/Process.h"
#include "zqm/queue/ZQMQueueRule.h"
#include "zqm/queue/executor/ZQMExecutorOperation.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

PerProcess<ZQMCoreRule> shared;

constexpr const char* kRefusedDomain = "Could not ask backend permission to Start service.";

constexpr auto report = reportAs(kCoreModule, 4);

// Removes addresses that cannot be stored, such as null; lookups do not use them.
ZQMEndpointsModel storable(ZQMEndpointsModel table) {
  ZQMEndpointsModel::fields(table, []<class Group>(std::string_view, Group& group) {
    Group::fields(group, [](std::string_view, Text& address) {
      if (!writeRecordFile(address)) address = Text();
    });
  });
  return table;
}

void reportSaves(const Saved& table, const Saved& user, bool isAccepted) {
  reportKept(table, kCoreModule);
  reportKept(user, kCoreModule);
  // A refusal leaves no trace in the log.
  if (!isAccepted || (table.isDone && user.isDone)) return;
  std::string unsaved;
  if (!table.isDone) unsaved.append(" ").append(ZQMEndpointsModel::kClassName);
  if (!user.isDone) unsaved.append(" ").append(ZQMUserModel::kClassName);
  reportUnsaved("what came with an accepted start:" + unsaved, kCoreModule);
}

// Every outcome is recorded as an attempt, so that a refusal is retried only a day later. Returns
// whether the backend accepted the start.
bool recordResponse(const StartFacts& facts, const StartDecision& decision,
                    const std::optional<ZQMStartResponse>& response,
                    const std::optional<Error>& error) {
  ZQMUserModel user = decision.user;
  const bool isAccepted = response && isNotEmpty(response->euid);
  Saved table{true};
  if (isAccepted) {
    user.startedSdkVersion = facts.sdkVersion;
    user.startedAppVersion = facts.appVersion;
    user.euid = response->euid;
    user.advertisingId = decision.advertisingId;
    user.appId = decision.appId;
    table = ZQMDatabase::saveRecord<ZQMEndpointsModel>(storable(response->endpoints));
  }
  if (error) ZQMLogHandler::logError(error->rewrapped(kRefusedDomain), kCoreModule, 4);
  // If the acceptance were stored without its table, no later start would request the table.
  user.started = isAccepted && table.isDone;
  user.startedDate = table.isDone ? std::optional(facts.now) : std::nullopt;
  reportSaves(table, ZQMDatabase::saveRecord<ZQMUserModel>(user), isAccepted);
  return isAccepted;
}

void sendRequest(const StartFacts& facts, const StartDecision& decision,
                 const std::function<void(bool)>& isStarted) {
  sendStartRequest(startBody(facts, decision), [=](const std::optional<ZQMStartResponse>& response,
                                                   const std::optional<Error>& error) {
    guarded([&] { isStarted(recordResponse(facts, decision, response, error)); }, report);
  });
}

}  // namespace

ZQMCoreRule& ZQMCoreRule::sharedInstance() { return *shared; }

void ZQMCoreRule::startCore(const Text& appId) {
  // First, and independent of the check: the queue's run after a start then includes the items.
  ZQMQueueRule::sharedInstance().adoptQueues();
  coreIsStarted(appId, [this](bool started) {
    if (started) {
      ZQMConfig::start();
      ZQMDeviceBehavior::start();
      ZQMQueueRule::sharedInstance().startQueue();
      startHandlers_.run();
    }
    startHandlers_.clear();
  });
}

void ZQMCoreRule::coreIsStarted(const Text& appId, std::function<void(bool)> isStarted) {
  guarded(
      [&] {
        const StartFacts facts = currentStartFacts(appId);
        const StartDecision decision = startDecision(facts);
        const StartDecision::Outcome outcome = decision.outcome();
        if (outcome == StartDecision::Outcome::due) return sendRequest(facts, decision, isStarted);
        if (outcome == StartDecision::Outcome::unsendable) {
          throw Exception(kInvalidArgumentException,
                          "The start request has no value for " + decision.missing + ".");
        }
        if (decision.reason == StartReason::recordUnreadable) {
          reportUnreadable(ZQMUserModel::kClassName, "nothing is started", kCoreModule);
        }
        isStarted(outcome == StartDecision::Outcome::notDue && decision.user.started);
      },
      report);
}

void ZQMCoreRule::restartCore() {
  ZQMUserRule::sharedInstance().resetUser();
  // Saving an absent value writes nothing: the endpoint table stays until the next accepted start.
  ZQMDatabase::saveObject<ZQMEndpointsModel>(Value());
  // The check ends with a report, which would take too long on the host's thread.
  execute(kCoreModule, [this] { coreIsStarted(Text(), [](bool) {}); });
}

StartFacts currentStartFacts(const Text& appId) {
  auto [state, user] = ZQMDatabase::findRecord<ZQMUserModel>();
  return {
      std::move(user),         ZQMDeviceInfo::advertisingId(), appId,
      decrypted(appId),        ZQMDebugInfo::getSdkVersion(),  ZQMDebugInfo::getAppVersionName(),
      platform().clock->now(), state != FileState::unreadable};
}

}  // namespace zqm
