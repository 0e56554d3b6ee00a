// ZQMCoreModule: the base class of kit modules.
#pragma once

#include "zqm/base/Export.h"

namespace zqm {

class ZQM_EXPORT ZQMCoreModule {
 public:
  virtual ~ZQMCoreModule();

  // Starts the module, on the executor or on the thread that handles the backend's response. It may
  // block. An exception is reported and leaves the start pending: the modules of a later start only
  // join those that wait for its end. The base class always throws.
  virtual void start();
};

}  // namespace zqm
