// Sends the start request and the records of the remote log.
#include "zqm/core/ZQMCoreRequest.h"

#include "zqm/base/Exception.h"
#include "zqm/core/ZQMUtils.h"
#include "zqm/endpoints/ZQMEndPoint.h"
#include "zqm/http/ZQMHttpRequest.h"
#include "zqm/log/ZQMLogHandler.h"

namespace zqm {
namespace {

std::optional<ZQMStartResponse> startResponse(const ZQMHttpResult& result) {
  std::optional<ZQMStartResponse> response;
  guarded(
      [&] {
        const auto text = ZQMUtils::dataToString(result.data);
        response =
            ZQMStartResponse::initWithDictionary(ZQMUtils::stringToDictionary(text.value_or("")));
      },
      [](const Exception& exception) { ZQMLogHandler::logException(exception, kCoreModule, 4); });
  return response;
}

}  // namespace

void ZQMCoreRequest::initWithDictionary(const Dictionary& body,
                                        const StartCompletion& completionHandler) {
  const auto answered = [completionHandler](const ZQMHttpResult& result) {
    if (result.statusCode == 200) return completionHandler(startResponse(result), std::nullopt);
    // A refusal is an answer, not a failure: nothing is reported.
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

void ZQMCoreRequest::sendGraylogInDictionary(const Dictionary& record) {
  const auto data = toData(record);
  if (!data) return;
  const auto answered = [](const ZQMHttpResult&) {
    ZQMLogHandler::logToDebugWithText("GRAYLOG - Request with Response Success");
  };
  const auto failed = [](const Error& error) {
    ZQMLogHandler::logToDebugWithText("GRAYLOG - Request with Error " +
                                      error.localizedDescription());
  };
  ZQMHttpRequest::dataTaskWithUrl(ZQMEndPoint::graylogGelf(), "POST", data, answered, failed);
}

}  // namespace zqm
