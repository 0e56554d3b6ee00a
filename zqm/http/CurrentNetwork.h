// The network that a request would use now.
#pragma once

#include "zqm/http/ZQMReachability.h"

namespace zqm {

// Asked of the platform at each call.
NetworkStatus currentNetwork();

}  // namespace zqm
