// Decides whether a fetch of the configuration is due, and why: a pure function of its facts.
#pragma once

#include <optional>
#include <string>

#include "zqm/base/Export.h"
#include "zqm/base/Value.h"

namespace zqm {

struct ConfigFacts {
  std::optional<Date> lastUpdateDate;
  // Calendar days; with 0 or less a fetch is always due.
  std::int32_t daysToUpdateConfig = 0;
  Date now;
};

enum class ConfigReason { neverUpdated, intervalOver, withinInterval };

struct ConfigDecision {
  bool due = false;
  ConfigReason reason = ConfigReason::neverUpdated;
};

ZQM_EXPORT ConfigDecision configDecision(const ConfigFacts& facts);

// The reason as a sentence for an integrator.
ZQM_EXPORT std::string describe(ConfigReason reason);

}  // namespace zqm
