// ZQMDeviceRequest: the calls to the two device services.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "zqm/base/Error.h"

namespace zqm {

// The results of a start of the device module.
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

  // Passes an error only with `kDeviceFailed`.
  static void startWithCompletionHandler(const StartCompletion& completionHandler);

  // Passes a response only for status 200 with a UTF-8 body: a profile that was not accepted must
  // not be taken for a sent one.
  static void sendBehaviorInDictionary(const Dictionary& profile,
                                       const BehaviorCompletion& completionHandler);
};

}  // namespace zqm
