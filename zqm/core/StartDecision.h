// The decision whether a start request is due, and why: a function of facts alone.
#pragma once

#include <optional>
#include <string>

#include "zqm/core/ZQMUserModel.h"

namespace zqm {

struct StartFacts {
  // The stored record, if any.
  std::optional<ZQMUserModel> user;
  std::string deviceAdvertisingId;
  // The identifier as the host gave it, and its plain text where it decrypts.
  Text appId;
  std::optional<std::string> plainAppId;
  // The current versions.
  Text sdkVersion;
  Text appVersion;
  Date now;
  // False where there may be a record that cannot be read at the moment.
  bool isUserKnown = true;
};

enum class StartReason {
  // Nothing can be sent, and the installation counts as not started.
  recordUnreadable,
  noAdvertisingId,
  appIdNotDecryptable,
  appIdNotProtected,
  // A request is due, but would lack a value.
  valueMissing,
  // The stored state holds.
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

  Outcome outcome() const;

  StartReason reason = StartReason::noAdvertisingId;
  // The key of the value that a due request would lack.
  std::string missing = {};
  // The record to go on with: the stored one or, before the first attempt, a new one.
  ZQMUserModel user = {};
  // What a request that is due carries. The identifier is absent where the host's does not decrypt.
  Text advertisingId = {};
  Text appId = {};
};

ZQM_EXPORT StartDecision startDecision(const StartFacts& facts);

// The body of a request that is due.
ZQM_EXPORT Dictionary startBody(const StartFacts& facts, const StartDecision& decision);

// The decision as a sentence for an integrator.
ZQM_EXPORT std::string describe(const StartDecision& decision);

}  // namespace zqm
