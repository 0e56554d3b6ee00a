// ZQMConfigRequest: the call to the configuration service.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "zqm/base/Error.h"

namespace zqm {

class ZQM_EXPORT ZQMConfigRequest {
 public:
  using Completion =
      std::function<void(const std::optional<std::string>&, const std::optional<Error>&)>;

  // Fetches the configuration and calls the completion once, on a thread of the transport: for
  // status 200 with the body (std::nullopt if it is not UTF-8), otherwise only with an error.
  static void getConfigWithCompletionHandler(const Completion& completionHandler);
};

}  // namespace zqm
