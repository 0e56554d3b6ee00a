// The decision whether a queued item may be sent now, and why: a function of facts alone.
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
  // How old an ordinary item must be to go over another network.
  std::int32_t hoursBeforeSendNonWifi = 0;
  Date now;
};

enum class SendReason { prioritised, onWifi, oldEnough, heldBack, undated };

struct SendDecision {
  bool maySend = false;
  SendReason reason = SendReason::heldBack;
};

ZQM_EXPORT SendDecision sendDecision(const SendFacts& facts);

// The reason as a sentence for an integrator.
ZQM_EXPORT std::string describe(SendReason reason);

}  // namespace zqm
