// ZQMCore: all that a host application must call. A port: any source may include it.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zqm/base/Value.h"

namespace zqm {

class ZQMCoreModule;

// Every operation is thread-safe and never throws.
class ZQM_EXPORT ZQMCore {
 public:
  // Registers the installation if that is due and, once the backend has accepted it, starts the
  // modules in order. `appId` is the protected application identifier: base64 of RSA ciphertext.
  // Returns at once; `isStarted` tells whether it succeeded.
  static void startWithAppId(const Text& appId,
                             std::vector<std::shared_ptr<ZQMCoreModule>> kitModules);

  // Like `startWithAppId`, with a callback instead of modules; an empty callback is ignored. If a
  // start is pending, the callback waits for its end.
  static void start(const Text& appId, std::function<void()> startHandler);

  // Resets the registration: the host's next start registers again.
  static void restart();

  // Whether the backend has accepted this installation. Each call reads the stored record.
  static bool isStarted();

  // Switches the local log files on or off. They are off at launch.
  static void setDebugMode(bool debugMode);
  static bool isInDebugMode();

  // An upper-case UUID, or "" if the device has none.
  static std::string getIOSAdvertisingId();
};

}  // namespace zqm
