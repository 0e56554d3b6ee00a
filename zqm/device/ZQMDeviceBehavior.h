// ZQMDeviceBehavior: the interface of the device module to the rest of the library.
#pragma once

#include <cstdint>
#include <functional>

#include "zqm/base/Export.h"

namespace zqm {

// Every operation returns at once, is thread-safe and never throws.
class ZQM_EXPORT ZQMDeviceBehavior {
 public:
  // Registers the device if that is due, then calls `verifyUpdate`. If the backend calls the
  // installation unauthorised, resets its registration instead.
  static void start();

  // Like `start()`, but calls `handler` with the status (see ZQMDeviceRequest.h) instead; an empty
  // one is ignored. If a start is pending, the handler waits for its end.
  static void start(std::function<void(std::int64_t)> handler);

  // Updates the stored profile on the main thread and sends it if it changed. Ignored during a
  // verification and, until the next launch, after one that threw or found no registration.
  static void verifyUpdate();
};

}  // namespace zqm
