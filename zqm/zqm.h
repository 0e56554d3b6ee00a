// All that a plain host application includes. Bounds and counts of the send queue are in
// zqm/queue/ZQMQueueRule.h, the bound of log files in zqm/log/ZQMLogHandler.h.
#pragma once

#include "zqm/base/Version.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/core/ZQMCoreModule.h"
