// The scenes of later launches: what is due, what is sent, and why the rest is not.
#include <algorithm>

#include "tools/zqm/DemoScenes.h"
#include "zqm/base/Version.h"
#include "zqm/config/ConfigDecision.h"
#include "zqm/config/ZQMConfigModel.h"
#include "zqm/core/StartDecision.h"
#include "zqm/device/DeviceDecision.h"
#include "zqm/queue/SendDecision.h"
#include "zqm/queue/ZQMQueueModel.h"

namespace zqm::tools {
namespace {

const std::string kBahia = "America/Bahia";

ZQMQueueModel storedQueue(const DemoStage& stage) {
  return stage.stored<ZQMQueueModel>().value_or(ZQMQueueModel());
}

StartDecision startDecisionFor(const DemoStage& stage, const Launch& launch, Date now) {
  return startDecision({.user = stage.stored<ZQMUserModel>(),
                        .deviceAdvertisingId = launch.run.value("advertisingId"),
                        .appId = stage.sandbox().applicationId(),
                        .plainAppId = stage.decrypted(stage.sandbox().applicationId()),
                        .sdkVersion = versionString,
                        .appVersion = stage.options().applicationVersion,
                        .now = now});
}

// Checks that none of the regular requests was made, and says why.
void showWhatWasNotDue(DemoStage& stage, const Launch& launch, Date now) {
  stage.console().line(indented("What was not due:", 3));
  const StartDecision start = startDecisionFor(stage, launch, now);
  const auto config = stage.stored<ZQMConfigModel>().value_or(ZQMConfigModel());
  const auto device = stage.stored<ZQMDeviceModel>();
  const ConfigDecision fetch =
      configDecision({config.lastUpdateDate, config.daysToUpdateConfig, now});
  const DeviceInitDecision init =
      deviceInitDecision({device, config.hoursToCallStartDevicebehavior, now});
  stage.checkDecision("no registration", launch.to("start").empty(),
                      start.outcome() != StartDecision::Outcome::due, describe(start));
  stage.checkDecision("no fetch of the configuration", launch.to("config/config").empty(),
                      !fetch.due, describe(fetch.reason));
  stage.checkDecision("no registration of the device", launch.to("device/initialize").empty(),
                      !init.due, describe(init.reason));
}

// Checks, for each item that waited before a launch, what became of it against the decision.
void showDeliveries(DemoStage& stage, const Launch& launch, const ZQMQueueModel& before, Date now) {
  const auto config = stage.stored<ZQMConfigModel>().value_or(ZQMConfigModel());
  const bool onWifi = launch.run.value("network") == "2";
  const List left = storedQueue(stage).dataToArray();
  for (const Value& entry : before.dataToArray()) {
    const auto item = ZQMQueueDataModel::initWithDictionary(entry);
    const SendDecision decision =
        sendDecision({item->priority, item->date, onWifi, config.hoursBeforeSendQueueNonWifi, now});
    const bool isLeft = std::ranges::find(left, entry) != left.end();
    std::string what(isLeft ? "still waiting: " : "delivered: ");
    what.append(item->priority ? "the consent" : "a visit");
    // A sendable item behind a delivered one waits for the next run; no other may go or stay.
    stage.check(decision.maySend || isLeft, what);
    stage.console().line(wrapped(describe(decision.reason), 8));
  }
}

}  // namespace

void showItems(DemoStage& stage, const ZQMQueueModel& queue) {
  if (queue.count() == 0) return stage.console().line(indented("the queue is empty", 5));
  queue.data->forEach([&](const ZQMQueueDataModel& item) {
    const Bytes* const body = item.data.bytes();
    std::string line(item.priority ? "prioritised  " : "ordinary     ");
    line.append(item.date ? toString(*item.date) : "").append("  ");
    const std::string url = item.url.textForm();
    line.append(url.substr(std::min(stage.backend().url().size() - 1, url.size()))).append("  ");
    stage.console().line(
        indented(line.append(std::to_string(body ? body->size() : 0)).append(" bytes"), 5));
  });
}

void showChangedFact(DemoStage& stage, const Launch& first) {
  stage.console().heading("7. An hour later, on a cellular link, in another time zone");
  const Circumstances circumstances{1, "cellular", kBahia};
  const ZQMQueueModel before = storedQueue(stage);
  const Launch launch = stage.launch(circumstances);
  stage.checkEqual("it was started from the outset", "true", launch.run.value("isStarted-before"));
  stage.checkEqual("the kit module sees the backend's configuration", "4",
                   launch.run.value("kit-hours-off-wifi"));
  stage.checkEqual("one profile was sent", 1, launch.to("device/behavior").size());
  if (launch.to("device/behavior").empty() || first.to("device/behavior").empty()) return;
  const Dictionary now = dictionaryOf(launch.to("device/behavior").front().request.body);
  const Dictionary earlier = dictionaryOf(first.to("device/behavior").front().request.body);
  stage.console().field("was", earlier["timezone"].textForm());
  stage.console().field("is", now["timezone"].textForm());
  bool onlyTheZone = now["timezone"] != earlier["timezone"];
  for (const auto& [key, value] : now) {
    onlyTheZone = onlyTheZone && (key == "timezone" || key == "dateTime" || value == earlier[key]);
  }
  stage.check(onlyTheZone, "the zone is all that changed");

  stage.console().line();
  stage.console().line(indented("The queue before and after:", 3));
  showItems(stage, before);
  stage.console().line(indented("---", 5));
  showItems(stage, storedQueue(stage));
  showDeliveries(stage, launch, before, stage.now(circumstances));
  stage.checkEqual("the consent was delivered at once", 1, launch.to("geo/optIn").size());

  stage.console().line();
  const auto reports = launch.to("graylog/gelf");
  if (launch.run.value("network") == "0") {
    return stage.checkEqual("without a connection no error is reported", 0, reports.size());
  }
  stage.console().line(
      wrapped("A run that delivered something ends when its index leaves the "
              "shorter list. That error, as it reached the remote log:",
              3));
  stage.checkEqual("one error was reported", 1, reports.size());
  if (!reports.empty()) stage.show(reports.front());
  showWhatWasNotDue(stage, launch, stage.now(circumstances));
}

void showHoldBackEnd(DemoStage& stage) {
  stage.console().heading("8. Five hours after the first launch, still on a cellular link");
  const Circumstances circumstances{5, "cellular", kBahia};
  const ZQMQueueModel before = storedQueue(stage);
  const Launch launch = stage.launch(circumstances);
  const ProfileSendDecision profile = profileSendDecision(stage.stored<ZQMDeviceModel>());
  stage.checkDecision("no profile was sent", launch.to("device/behavior").empty(), !profile.due,
                      describe(profile.reason));
  showDeliveries(stage, launch, before, stage.now(circumstances));
  stage.checkEqual("one visit went, and the one behind it waits for the next run", 1,
                   storedQueue(stage).count());
}

void showWifiAgain(DemoStage& stage) {
  stage.console().heading("9. Another hour later, on Wi-Fi");
  const Circumstances circumstances{6, "wifi", kBahia};
  const ZQMQueueModel before = storedQueue(stage);
  const Launch launch = stage.launch(circumstances);
  showDeliveries(stage, launch, before, stage.now(circumstances));
  stage.checkEqual("nothing waits any more", 0, storedQueue(stage).count());
  const auto visits = stage.backend().requests("data/behavior");
  stage.checkEqual("both visits arrived, each once", 2, visits.size());
  if (!visits.empty()) stage.show(visits.back());
}

void showReset(DemoStage& stage) {
  Console& console = stage.console();
  console.heading("10. Forty hours after the first launch, the backend answers 401");
  const Circumstances circumstances{40, "wifi", kBahia};
  stage.backend().answerWith("device/initialize", ServerReply{.status = 401});
  const Launch refused = stage.launch(circumstances);
  stage.backend().answerWith("device/initialize", std::nullopt);
  stage.checkEqual("the device was to be registered again", 1,
                   refused.to("device/initialize").size());
  const auto reset = stage.stored<ZQMUserModel>().value_or(ZQMUserModel());
  stage.check(!reset.started && reset.euid.isAbsent() && !reset.startedDate,
              "the registration is forgotten");
  stage.show(reset.toDictionary());
  const auto reports = refused.to("graylog/gelf");
  stage.checkEqual("one error was reported", 1, reports.size());
  if (!reports.empty()) {
    console.line(wrapped(dictionaryOf(reports.front().request.body)["message"].textForm(), 8));
  }

  console.heading("11. The launch after that");
  const Date now = stage.now(circumstances);
  const Launch again = stage.launch(circumstances);
  stage.checkEqual("it was not started", "false", again.run.value("isStarted-before"));
  stage.checkEqual("one registration was sent", 1, again.to("start").size());
  console.line(
      wrapped(describe(startDecision({.user = reset,
                                      .deviceAdvertisingId = again.run.value("advertisingId"),
                                      .appId = stage.sandbox().applicationId(),
                                      .plainAppId = stage.options().applicationId,
                                      .sdkVersion = versionString,
                                      .appVersion = stage.options().applicationVersion,
                                      .now = now})),
              8));
  stage.checkEqual("it is started again", "true", again.run.value("isStarted-after"));
}

}  // namespace zqm::tools
