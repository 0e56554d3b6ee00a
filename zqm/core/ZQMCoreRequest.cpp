// Forwards to where the work is done.
#include "zqm/core/ZQMCoreRequest.h"

#include "zqm/core/StartRequest.h"
#include "zqm/log/RemoteLog.h"
#include "zqm/queue/QueueDelivery.h"

namespace zqm {

void ZQMCoreRequest::initWithDictionary(const Dictionary& body,
                                        const StartCompletion& completionHandler) {
  sendStartRequest(body, completionHandler);
}

bool ZQMCoreRequest::sendQueueWithUrl(std::string_view url, const std::optional<Bytes>& data) {
  return deliverQueued(url, data);
}

void ZQMCoreRequest::sendGraylogInDictionary(const Dictionary& record) { sendToRemoteLog(record); }

}  // namespace zqm
