// The remote log. `ZQMLogHandler::requestMessage`, defined here too, makes its records.
#pragma once

#include "zqm/base/Value.h"

namespace zqm {

// Posts a record to the remote log; the outcome is written to the debug outlet.
void sendToRemoteLog(const Dictionary& record);

}  // namespace zqm
