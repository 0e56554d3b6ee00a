// ZQMQueueOperation: walks the queue and delivers the items that may be sent.
#pragma once

#include "zqm/base/Export.h"

namespace zqm {

class ZQM_EXPORT ZQMQueueOperation {
 public:
  // Schedules one run on the executor and returns at once. Runs may overlap: an item that two of
  // them see is sent twice.
  static void start();
};

}  // namespace zqm
