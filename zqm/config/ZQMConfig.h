// ZQMConfig: the configuration module, as an accepted start runs it.
#pragma once

#include "zqm/base/Export.h"

namespace zqm {

class ZQM_EXPORT ZQMConfig {
 public:
  // Fetches the configuration if that is due. Never throws; failures are reported for "zqm-config"
  // at level 4.
  static void start();

  // Puts a fetch on the executor, unless one waits there already.
  static void loadRemoteConfig();
};

}  // namespace zqm
