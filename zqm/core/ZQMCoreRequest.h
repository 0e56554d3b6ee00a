// ZQMCoreRequest: the calls to the start service and the remote log.
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
  // response, with an error, or with neither where the backend refuses (401, 403) or its answer
  // cannot be read.
  static void initWithDictionary(const Dictionary& body, const StartCompletion& completionHandler);

  // Delivers one queued body as a POST and waits for the outcome, on a thread that may block: true
  // for an answer of status 200 whose body is UTF-8 (or empty), and for 404, with which the backend
  // says that nobody wants the item. A failure to reach the backend is reported.
  static bool sendQueueWithUrl(std::string_view url, const std::optional<Bytes>& data);

  // Posts a record to the remote log; the outcome goes to the debug outlet.
  static void sendGraylogInDictionary(const Dictionary& record);
};

}  // namespace zqm
