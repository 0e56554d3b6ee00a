// ZQMDeviceRequest: the calls to the two device services.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "zqm/base/Error.h"

namespace zqm {

// What an attempt to start the device module ends with.
inline constexpr std::int64_t kDeviceRegistered = 0;
inline constexpr std::int64_t kDeviceFailed = 1;
inline constexpr std::int64_t kDeviceRejected = 2;
inline constexpr std::int64_t kDeviceUnauthorized = 3;

// Each completion is called once, on a thread of the transport.
class ZQM_EXPORT ZQMDeviceRequest {
 public:
  using StartCompletion = std::function<void(std::int64_t status, const std::optional<Error>&)>;
  using BehaviorCompletion =
      std::function<void(const std::optional<std::string>& response, const std::optional<Error>&)>;

  // An error comes with status 1 only.
  static void startWithCompletionHandler(const StartCompletion& completionHandler);

  // Answers a text only for status 200, and only where the body is one: a profile that was not
  // accepted must not pass for one that was sent.
  static void sendBehaviorInDictionary(const Dictionary& profile,
                                       const BehaviorCompletion& completionHandler);
};

}  // namespace zqm
