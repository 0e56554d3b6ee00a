// Decides whether a start request is due, and why: a pure function of its facts.
#pragma once

#include <optional>
#include <string>

#include "zqm/core/user/ZQMUserModel.h"

namespace zqm {

struct StartFacts {
  // The stored record, if any.
  std::optional<ZQMUserModel> user;
  std::string deviceAdvertisingId;
  // The identifier from the host, and its plain text if it can be decrypted.
  Text appId;
  std::optional<std::string> plainAppId;
  // The current versions.
  Text sdkVersion;
  Text appVersion;
  Date now;
  // False if a record may exist that cannot be read at the moment.
  bool isUserKnown = true;
};

enum class StartReason {
  // Nothing can be sent, and the installation is treated as not started.
  recordUnreadable,
  noAdvertisingId,
  appIdNotDecryptable,
  appIdNotProtected,
  // A request is due, but would lack a value.
  valueMissing,
  // No request is needed; the stored result still applies.
  accepted,
  attemptedWithinADay,
  // A request is due.
  neverAttempted,
  advertisingIdChanged,
  sdkVersionChanged,
  appVersionChanged,
  lastAttemptADayAgo,
};

struct StartDecision {
  enum class Outcome { impossible, unsendable, notDue, due };

  ZQM_EXPORT Outcome outcome() const;

  StartReason reason = StartReason::noAdvertisingId;
  // The key of the value that a due request would lack; empty for any other reason.
  std::string missing = {};
  // The record to update: the stored one, or a new one before the first attempt.
  ZQMUserModel user = {};
  // The values for a due request. `appId` is absent if the host's identifier cannot be decrypted.
  Text advertisingId = {};
  Text appId = {};
};

ZQM_EXPORT StartDecision startDecision(const StartFacts& facts);

// Returns the body of a due request.
ZQM_EXPORT Dictionary startBody(const StartFacts& facts, const StartDecision& decision);

// Describes the decision in a sentence for an integrator.
ZQM_EXPORT std::string describe(const StartDecision& decision);

}  // namespace zqm
