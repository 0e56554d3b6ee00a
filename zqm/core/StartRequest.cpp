// Sends the start request and reads the answer.
#include "zqm/core/StartRequest.h"

#include "zqm/base/Exception.h"
#include "zqm/endpoints/ZQMEndPoint.h"
#include "zqm/http/ZQMHttpRequest.h"
#include "zqm/log/ZQMLogHandler.h"
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

void sendStartRequest(const Dictionary& body, const StartCompletion& completion) {
  const auto answered = [completion](const ZQMHttpResult& result) {
    if (result.statusCode == 200) return completion(startResponse(result), std::nullopt);
    // A refusal is a response, not a failure: nothing is reported.
    if (result.statusCode == 401 || result.statusCode == 403) {
      return completion(std::nullopt, std::nullopt);
    }
    completion(std::nullopt, ZQMHttpRequest::errorWithRequest(result));
  };
  const auto failed = [completion](const Error& error) { completion(std::nullopt, error); };
  ZQMHttpRequest::dataTaskWithUrl(ZQMEndPoint::coreInit(), "POST", toData(body), answered, failed);
}

}  // namespace zqm
