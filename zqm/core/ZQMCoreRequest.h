// ZQMCoreRequest: the calls to the start service and the remote log.
#pragma once

#include <functional>
#include <optional>

#include "zqm/base/Error.h"
#include "zqm/core/ZQMStartResponse.h"

namespace zqm {

class ZQM_EXPORT ZQMCoreRequest {
 public:
  using StartCompletion =
      std::function<void(const std::optional<ZQMStartResponse>&, const std::optional<Error>&)>;

  // Sends the start request and calls the completion once, on a thread of the transport: with a
  // response, with an error, or with neither where the backend refuses (401, 403) or its answer
  // cannot be read.
  static void initWithDictionary(const Dictionary& body, const StartCompletion& completionHandler);

  // Posts a record to the remote log; the outcome goes to the debug outlet.
  static void sendGraylogInDictionary(const Dictionary& record);
};

}  // namespace zqm
