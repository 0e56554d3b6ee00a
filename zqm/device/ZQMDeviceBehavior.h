// ZQMDeviceBehavior: the device module as the rest of the library starts it.
#pragma once

#include <cstdint>
#include <functional>

#include "zqm/base/Export.h"

namespace zqm {

// Every operation returns at once and may be called from any thread; none throws.
class ZQM_EXPORT ZQMDeviceBehavior {
 public:
  // Registers the device, if that is due, and goes on with `verifyUpdate`; where the backend
  // calls the installation unauthorised, resets its registration instead.
  static void start();

  // The same with a callback in place of that; an empty one adds none. The callback gets a status
  // (see ZQMDeviceRequest.h). While a start is pending, it only joins those that wait for its end.
  static void start(std::function<void(std::int64_t)> handler);

  // Brings the stored profile up to date on the main thread and sends it where it changed. One at
  // a time; does nothing any more in this process once it found the device not registered.
  static void verifyUpdate();
};

}  // namespace zqm
