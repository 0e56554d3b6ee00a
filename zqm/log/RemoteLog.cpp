// Posts records to the remote log.
#include "zqm/log/RemoteLog.h"

#include "zqm/endpoints/ZQMEndPoint.h"
#include "zqm/http/ZQMHttpRequest.h"
#include "zqm/log/ZQMLogHandler.h"

namespace zqm {

void sendToRemoteLog(const Dictionary& record) {
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
