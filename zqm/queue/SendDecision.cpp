// Holds ordinary items back while the device is not on Wi-Fi.
#include "zqm/queue/SendDecision.h"

#include "zqm/util/Date.h"

namespace zqm {

// The configured minutes before a retry are ignored: a failed item may be sent in every run.
SendDecision sendDecision(const SendFacts& facts) {
  if (facts.priority) return {true, SendReason::prioritised};
  if (facts.onWifi) return {true, SendReason::onWifi};
  if (!facts.date) return {false, SendReason::undated};
  const Date limit = addHour(*facts.date, facts.hoursBeforeSendNonWifi);
  if (lessThanDate(limit, facts.now)) return {true, SendReason::oldEnough};
  return {false, SendReason::heldBack};
}

std::string describe(SendReason reason) {
  switch (reason) {
    case SendReason::prioritised:
      return "the item is prioritised";
    case SendReason::onWifi:
      return "the device is on Wi-Fi";
    case SendReason::oldEnough:
      return "the item has waited the configured hours for Wi-Fi";
    case SendReason::heldBack:
      return "the device is not on Wi-Fi and the item has not waited the configured hours";
    case SendReason::undated:
      return "the device is not on Wi-Fi and the item has no date";
  }
  return "";
}

}  // namespace zqm
