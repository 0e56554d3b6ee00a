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
  recordUnreadable,
  noAdvertisingId,
  appIdNotDecryptable,
  appIdNotProtected,
  accepted,
  attemptedWithinADay,
  neverAttempted,
  advertisingIdChanged,
  sdkVersionChanged,
  appVersionChanged,
  lastAttemptADayAgo,
};

struct StartDecision {
  enum class Outcome {
    // Nothing can be sent, and the installation counts as not started.
    impossible,
    // The stored state holds.
    notDue,
    due,
  };

  Outcome outcome = Outcome::impossible;
  StartReason reason = StartReason::noAdvertisingId;
  // The record to go on with: the stored one or, before the first attempt, a new one.
  ZQMUserModel user;
  // What a request that is due carries. The identifier is absent where the host's does not
  // decrypt; such a request cannot be built.
  Text advertisingId;
  Text appId;
};

ZQM_EXPORT StartDecision startDecision(const StartFacts& facts);

// The reason as a sentence for an integrator.
ZQM_EXPORT std::string describe(StartReason reason);

}  // namespace zqm
