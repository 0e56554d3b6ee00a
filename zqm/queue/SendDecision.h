// Decides whether a queued item may be sent now, and why: a pure function of the facts.
#pragma once

#include <optional>
#include <string>

#include "zqm/base/Export.h"
#include "zqm/base/Value.h"

namespace zqm {

struct SendFacts {
  bool priority = false;
  std::optional<Date> date;
  bool onWifi = false;
  // The age from which an ordinary item may be sent over another network.
  std::int32_t hoursBeforeSendNonWifi = 0;
  Date now;
};

enum class SendReason { prioritised, onWifi, oldEnough, heldBack, undated };

struct SendDecision {
  bool maySend = false;
  SendReason reason = SendReason::heldBack;
};

ZQM_EXPORT SendDecision sendDecision(const SendFacts& facts);

// Returns the reason as a sentence for an integrator.
ZQM_EXPORT std::string describe(SendReason reason);

}  // namespace zqm
