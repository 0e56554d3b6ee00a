// ZQMCoreRequest: the calls to the start service, the queued items' services and the remote log.
#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "zqm/base/Error.h"
#include "zqm/core/ZQMStartResponse.h"

namespace zqm {

class ZQM_EXPORT ZQMCoreRequest {
 public:
  using StartCompletion =
      std::function<void(const std::optional<ZQMStartResponse>&, const std::optional<Error>&)>;

  // Sends the start request and calls the completion once, on a thread of the transport: with a
  // response, with an error, or with neither if the backend refuses (401, 403) or its response
  // cannot be read.
  static void initWithDictionary(const Dictionary& body, const StartCompletion& completionHandler);

  // Posts one queued body and waits for the outcome, so the thread must be allowed to block.
  // Returns true for status 200 with a UTF-8 or empty body, and for 404, by which the backend says
  // that nobody wants the item. Reports if the backend cannot be reached.
  static bool sendQueueWithUrl(std::string_view url, const std::optional<Bytes>& data);

  // Posts a record to the remote log; the outcome is written to the debug outlet.
  static void sendGraylogInDictionary(const Dictionary& record);
};

}  // namespace zqm
