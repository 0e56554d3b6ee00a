// Decides whether a fetch of the configuration is due.
#include "zqm/config/ConfigDecision.h"

#include "zqm/util/Date.h"

namespace zqm {

ConfigDecision configDecision(const ConfigFacts& facts) {
  if (!facts.lastUpdateDate) return {true, ConfigReason::neverUpdated};
  const Date next = addDay(*facts.lastUpdateDate, facts.daysToUpdateConfig);
  if (lessThanDate(next, facts.now)) return {true, ConfigReason::intervalOver};
  return {false, ConfigReason::withinInterval};
}

std::string describe(ConfigReason reason) {
  switch (reason) {
    case ConfigReason::neverUpdated:
      return "no configuration was ever fetched";
    case ConfigReason::intervalOver:
      return "the configured days since the last fetch have passed";
    case ConfigReason::withinInterval:
      return "the last fetch was less than the configured days ago";
  }
  return "";
}

}  // namespace zqm
