// ZQMCoreModule: what a kit module derives from.
#pragma once

#include "zqm/base/Export.h"

namespace zqm {

class ZQM_EXPORT ZQMCoreModule {
 public:
  virtual ~ZQMCoreModule();

  // Starts the module, on the executor or on the thread that handles the backend's answer. It may
  // block there; what it throws is reported and keeps the start from ending. The base's always
  // throws.
  virtual void start();
};

}  // namespace zqm
