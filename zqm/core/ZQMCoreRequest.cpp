// Sends the start request and reads its response; the other calls are made elsewhere.
#include "zqm/core/ZQMCoreRequest.h"

#include "zqm/base/Exception.h"
#include "zqm/endpoints/ZQMEndPoint.h"
#include "zqm/http/ZQMHttpRequest.h"
#include "zqm/log/RemoteLog.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/queue/QueueDelivery.h"
#include "zqm/util/Json.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

std::optional<ZQMStartResponse> startResponse(const ZQMHttpResult& result) {
  std::optional<ZQMStartResponse> response;
  guarded(
      [&] {
        const auto text = utf8Text(result.data);
        response = ZQMStartResponse::initWithDictionary(readJsonObject(text.value_or("")));
      },
      reportAs(kCoreModule, 4));
  return response;
}

}  // namespace

void ZQMCoreRequest::initWithDictionary(const Dictionary& body,
                                        const StartCompletion& completionHandler) {
  const auto answered = [completionHandler](const ZQMHttpResult& result) {
    if (result.statusCode == 200) return completionHandler(startResponse(result), std::nullopt);
    // A refusal is a response, not a failure: nothing is reported.
    if (result.statusCode == 401 || result.statusCode == 403) {
      return completionHandler(std::nullopt, std::nullopt);
    }
    completionHandler(std::nullopt, ZQMHttpRequest::errorWithRequest(result));
  };
  const auto failed = [completionHandler](const Error& error) {
    completionHandler(std::nullopt, error);
  };
  ZQMHttpRequest::dataTaskWithUrl(ZQMEndPoint::coreInit(), "POST", toData(body), answered, failed);
}

bool ZQMCoreRequest::sendQueueWithUrl(std::string_view url, const std::optional<Bytes>& data) {
  return deliverQueued(url, data);
}

void ZQMCoreRequest::sendGraylogInDictionary(const Dictionary& record) { sendToRemoteLog(record); }

}  // namespace zqm
