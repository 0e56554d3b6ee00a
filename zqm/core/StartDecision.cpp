// Decides whether a start request is due.
#include "zqm/core/StartDecision.h"

#include "zqm/device/ZQMDeviceInfo.h"
#include "zqm/util/Date.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

// An absent advertising identifier is treated as an empty one: there is nothing to send.
bool isMissing(const Text& advertisingId) { return !isNotEmpty(advertisingId); }

bool equal(const Text& left, const Text& right) { return left.isPresent() && left == right; }

// Returns the reason why a request is due for this record, or why not. A changed application
// identifier is not checked: it reaches the record through `setAppId`, which makes the next start
// due.
StartReason reasonFor(const ZQMUserModel& user, const Text& advertisingId,
                      const StartFacts& facts) {
  if (!user.startedDate) return StartReason::neverAttempted;
  if (!user.started) {
    return lessThanDate(addDay(*user.startedDate, 1), facts.now) ? StartReason::lastAttemptADayAgo
                                                                 : StartReason::attemptedWithinADay;
  }
  if (!equal(user.advertisingId, advertisingId)) return StartReason::advertisingIdChanged;
  if (!equal(user.startedSdkVersion, facts.sdkVersion)) return StartReason::sdkVersionChanged;
  if (!equal(user.startedAppVersion, facts.appVersion)) return StartReason::appVersionChanged;
  return StartReason::accepted;
}

// Returns the key of the first value that is not a string; such a request must not be sent.
std::string missingIn(const Dictionary& body) {
  for (const char* key : {"advertisingId", "appId", "platform", "sdkVersion", "appVersion"}) {
    const std::string* text = body[key].text();
    if (!text || !isValidUtf8(*text)) return key;
  }
  return {};
}

// What follows from a reason, and the reason as a sentence, without the missing key.
struct Meaning {
  StartDecision::Outcome outcome;
  const char* sentence;
};

Meaning meaningOf(StartReason reason) {
  using enum StartDecision::Outcome;
  switch (reason) {
    case StartReason::recordUnreadable:
      return {impossible, "the stored record cannot be read at the moment"};
    case StartReason::noAdvertisingId:
      return {impossible, "the device has no advertising identifier and none is stored"};
    case StartReason::appIdNotDecryptable:
      return {impossible, "the application identifier does not decrypt with the integrator's key"};
    case StartReason::appIdNotProtected:
      return {impossible, "the application identifier was given in plain text"};
    case StartReason::valueMissing:
      return {unsendable, "the start request has no value for "};
    case StartReason::accepted:
      return {notDue,
              "the backend accepted this advertising identifier, library version and application "
              "version before"};
    case StartReason::attemptedWithinADay:
      return {notDue, "the last attempt was refused or failed less than a day ago"};
    case StartReason::neverAttempted:
      return {due, "the installation was never registered, or its registration was reset"};
    case StartReason::advertisingIdChanged:
      return {due, "the advertising identifier changed since the last accepted start"};
    case StartReason::sdkVersionChanged:
      return {due, "the library version changed since the last accepted start"};
    case StartReason::appVersionChanged:
      return {due, "the application version changed since the last accepted start"};
    case StartReason::lastAttemptADayAgo:
      return {due, "the last attempt was refused or failed a day ago or earlier"};
  }
  return {impossible, ""};
}

}  // namespace

StartDecision::Outcome StartDecision::outcome() const { return meaningOf(reason).outcome; }

std::string describe(const StartDecision& decision) {
  return meaningOf(decision.reason).sentence + decision.missing;
}

StartDecision startDecision(const StartFacts& facts) {
  StartDecision decision;
  decision.advertisingId = facts.deviceAdvertisingId;
  decision.appId = facts.plainAppId;
  const bool unprotected = equal(decision.appId, facts.appId);
  const auto because = [&](StartReason reason) {
    decision.reason = reason;
    return decision;
  };

  if (!facts.isUserKnown) return because(StartReason::recordUnreadable);
  if (!facts.user) {
    if (isMissing(decision.advertisingId)) return because(StartReason::noAdvertisingId);
    if (decision.appId.isAbsent()) return because(StartReason::appIdNotDecryptable);
    decision.user.advertisingId = decision.advertisingId;
    decision.user.appId = decision.appId;
  } else {
    decision.user = *facts.user;
    if (isMissing(decision.advertisingId)) decision.advertisingId = decision.user.advertisingId;
    if (isMissing(decision.advertisingId)) return because(StartReason::noAdvertisingId);
  }
  if (unprotected) return because(StartReason::appIdNotProtected);
  if (isEmpty(decision.appId)) decision.appId = decision.user.appId;

  decision.reason = reasonFor(decision.user, decision.advertisingId, facts);
  if (decision.outcome() != StartDecision::Outcome::due) return decision;
  decision.missing = missingIn(startBody(facts, decision));
  return decision.missing.empty() ? decision : because(StartReason::valueMissing);
}

Dictionary startBody(const StartFacts& facts, const StartDecision& decision) {
  return {{"advertisingId", decision.advertisingId},
          {"appId", decision.appId},
          {"platform", ZQMDeviceInfo::getPlatform()},
          {"sdkVersion", facts.sdkVersion},
          {"appVersion", facts.appVersion}};
}

}  // namespace zqm
