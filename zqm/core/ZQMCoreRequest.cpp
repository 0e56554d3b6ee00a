// Sends the start request, queued items and the records of the remote log.
#include "zqm/core/ZQMCoreRequest.h"

#include <atomic>
#include <memory>

#include "zqm/base/Exception.h"
#include "zqm/base/Mutex.h"
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
      reportAs(kCoreModule, 4));
  return response;
}

bool isDelivered(const ZQMHttpResult& result) {
  if (result.statusCode == 404) return true;
  return result.statusCode == 200 && ZQMUtils::dataToString(result.data.value_or(Bytes()));
}

// The result for the waiting thread. Not a std::promise: abandoning one allocates memory, and a
// failure of that would end the process.
class Delivery {
 public:
  void succeed() { succeeded_ = true; }
  void end() {
    const MutexLock lock(mutex_);
    ended_ = true;
    wake_.notifyAll();
  }
  bool wait() {
    const MutexLock lock(mutex_);
    while (!ended_) wake_.wait(mutex_);
    return succeeded_;
  }

 private:
  std::atomic<bool> succeeded_ = false;
  Mutex mutex_;
  Condition wake_;
  bool ended_ ZQM_GUARDED_BY(mutex_) = false;
};

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
  const auto delivery = std::make_shared<Delivery>();
  // Owned by the callbacks alone: if they are destroyed uncalled, the wait ends.
  std::shared_ptr<void> callbacks(nullptr, [delivery](void*) { delivery->end(); });
  guarded(
      [&] {
        ZQMHttpRequest::dataTaskWithUrl(
            url, "POST", data,
            [delivery, callbacks](const ZQMHttpResult& result) {
              if (isDelivered(result)) delivery->succeed();
            },
            [callbacks](const Error& error) { ZQMLogHandler::logError(error, kCoreModule, 4); });
      },
      reportAs(kCoreModule, 4));
  callbacks.reset();
  return delivery->wait();
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
