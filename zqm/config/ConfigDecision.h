// The decision whether the configuration is to be fetched, and why: a function of facts alone.
#pragma once

#include <optional>
#include <string>

#include "zqm/base/Export.h"
#include "zqm/base/Value.h"

namespace zqm {

struct ConfigFacts {
  std::optional<Date> lastUpdateDate;
  // Calendar days; with 0 or less every check finds a fetch due.
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
