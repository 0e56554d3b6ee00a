// The start check: decide, ask, record the answer, start the rest.
#include "zqm/core/ZQMCoreRule.h"

#include "zqm/base/Exception.h"
#include "zqm/config/ZQMConfig.h"
#include "zqm/core/ZQMCoreRequest.h"
#include "zqm/core/ZQMUserModel.h"
#include "zqm/core/ZQMUserRule.h"
#include "zqm/core/ZQMUtils.h"
#include "zqm/device/ZQMDeviceBehavior.h"
#include "zqm/device/ZQMDeviceInfo.h"
#include "zqm/log/ZQMDebugInfo.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/model/RecordFile.h"
#include "zqm/model/StoreReport.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/platform/Process.h"
#include "zqm/queue/ZQMBlockOperation.h"
#include "zqm/queue/ZQMExecutorOperation.h"
#include "zqm/queue/ZQMQueueRule.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

PerProcess<ZQMCoreRule> shared;

constexpr const char* kRefusedDomain = "Could not ask backend permission to Start service.";

void report(const Exception& exception) { ZQMLogHandler::logException(exception, kCoreModule, 4); }

// Throws where a value is absent or no text: a request that lacks one must not be sent.
Dictionary startBody(const StartDecision& decision) {
  Dictionary body;
  const auto put = [&](std::string_view key, const Text& value) {
    if (!value.text() || !isValidUtf8(*value.text())) {
      throw Exception(kInvalidArgumentException,
                      "The start request has no value for " + std::string(key) + ".");
    }
    body.set(key, value);
  };
  put("advertisingId", decision.advertisingId);
  put("appId", decision.appId);
  put("platform", ZQMDeviceInfo::getPlatform());
  put("sdkVersion", ZQMDebugInfo::getSdkVersion());
  put("appVersion", ZQMDebugInfo::getAppVersionName());
  return body;
}

// The table without what no file holds, such as null: no lookup uses that, and the rest is kept.
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

// Every answer is recorded as an attempt, so that a refusal is asked again after a day at most.
ZQMUserModel recordAnswer(const StartDecision& decision,
                          const std::optional<ZQMStartResponse>& response,
                          const std::optional<Error>& error) {
  ZQMUserModel user = decision.user;
  const bool isAccepted = response && isNotEmpty(response->euid);
  Saved table{true};
  if (isAccepted) {
    user.started = true;
    user.startedSdkVersion = ZQMDebugInfo::getSdkVersion();
    user.startedAppVersion = ZQMDebugInfo::getAppVersionName();
    user.euid = response->euid;
    user.advertisingId = decision.advertisingId;
    user.appId = decision.appId;
    table = ZQMDatabase::saveRecord<ZQMEndpointsModel>(storable(response->endpoints));
  }
  if (error) ZQMLogHandler::logError(error->rewrapped(kRefusedDomain), kCoreModule, 4);
  ZQMUserModel stored = user;
  if (!table.isDone) {
    // An acceptance that rests would keep the table away for good: the next launch asks anew.
    stored.started = false;
    stored.startedDate.reset();
  }
  reportSaves(table, ZQMDatabase::saveRecord<ZQMUserModel>(stored), isAccepted);
  return user;
}

void ask(StartDecision decision, Date now, const std::function<void(bool)>& isStarted) {
  decision.user.started = false;
  decision.user.startedDate = now;
  ZQMCoreRequest::initWithDictionary(
      startBody(decision), [decision, isStarted](const std::optional<ZQMStartResponse>& response,
                                                 const std::optional<Error>& error) {
        guarded([&] { isStarted(recordAnswer(decision, response, error).started); }, report);
      });
}

}  // namespace

ZQMCoreRule& ZQMCoreRule::sharedInstance() { return *shared; }

void ZQMCoreRule::startCore(const Text& appId) {
  // First, and whatever comes of the check: the run that a start begins finds the items.
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
        if (decision.outcome == StartDecision::Outcome::due) {
          return ask(decision, facts.now, isStarted);
        }
        if (!facts.isUserKnown) {
          reportUnreadable(ZQMUserModel::kClassName, "nothing is started", kCoreModule);
        }
        isStarted(decision.outcome == StartDecision::Outcome::notDue && decision.user.started);
      },
      report);
}

void ZQMCoreRule::restartCore() {
  ZQMUserRule::sharedInstance().resetUser();
  // Saving nothing writes nothing: the endpoint table stays until the next accepted start.
  ZQMDatabase::saveObject<ZQMEndpointsModel>(Value());
  // The check ends in a report, which is nothing for the host's thread.
  ZQMExecutorOperation::sharedInstance().execute(ZQMBlockOperation::initWithModuleName(
      kCoreModule, [this] { coreIsStarted(Text(), [](bool) {}); }));
}

StartFacts currentStartFacts(const Text& appId) {
  auto [state, user] = ZQMDatabase::findRecord<ZQMUserModel>();
  return {std::move(user),
          ZQMDeviceInfo::advertisingId(),
          appId,
          ZQMUtils::decryptoString(appId),
          ZQMDebugInfo::getSdkVersion(),
          ZQMDebugInfo::getAppVersionName(),
          platform().clock->now(),
          state != FileState::unreadable};
}

}  // namespace zqm
