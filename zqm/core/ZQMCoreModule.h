// ZQMCoreModule: the base class of kit modules.
#pragma once

#include "zqm/base/Export.h"

namespace zqm {

class ZQM_EXPORT ZQMCoreModule {
 public:
  virtual ~ZQMCoreModule();

  // Starts the module, on the executor or on the thread that handles the backend's response. It may
  // block. An exception is reported, and the start then stays pending until the process ends. The
  // base class always throws.
  virtual void start();
};

}  // namespace zqm
