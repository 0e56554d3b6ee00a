// ZQMConfig: the configuration module, run by an accepted start.
#pragma once

#include "zqm/base/Export.h"

namespace zqm {

class ZQM_EXPORT ZQMConfig {
 public:
  // Fetches the configuration if a fetch is due. Never throws; failures are reported under
  // "zqm-config", level 4.
  static void start();

  // Schedules a fetch on the executor, unless one is pending there.
  static void loadRemoteConfig();
};

}  // namespace zqm
