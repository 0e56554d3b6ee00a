// ZQMCore: all that a host application must call. A port: any source may include it.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zqm/base/Value.h"

namespace zqm {

class ZQMCoreModule;

// Every operation may be called from any thread, and none throws.
class ZQM_EXPORT ZQMCore {
 public:
  // Registers the installation if that is due and, once the backend has accepted it, starts the
  // modules in order. `appId` is the protected application identifier: Base64 of RSA ciphertext.
  // Returns at once; whether it worked shows in `isStarted`.
  static void startWithAppId(const Text& appId,
                             std::vector<std::shared_ptr<ZQMCoreModule>> kitModules);

  // The same with a callback in place of the modules; an empty one adds none. While a start is
  // pending, the callback only joins those that wait for its end.
  static void start(const Text& appId, std::function<void()> startHandler);

  // Forgets the registration: the host's next start registers anew.
  static void restart();

  // Whether the backend has accepted this installation. Reads the stored record at each call.
  static bool isStarted();

  // Switches the local log files on. Off at each launch.
  static void setDebugMode(bool debugMode);
  static bool isInDebugMode();

  // Upper-case UUID text, or "" when the device has none.
  static std::string getIOSAdvertisingId();
};

}  // namespace zqm
