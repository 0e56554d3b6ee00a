// A POST whose outcome the calling thread waits for.
#include "zqm/queue/QueueDelivery.h"

#include <atomic>
#include <memory>

#include "zqm/base/Exception.h"
#include "zqm/base/Mutex.h"
#include "zqm/http/ZQMHttpRequest.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

bool isDelivered(const ZQMHttpResult& result) {
  if (result.statusCode == 404) return true;
  return result.statusCode == 200 && utf8Text(result.data.value_or(Bytes()));
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

bool deliverQueued(std::string_view url, const std::optional<Bytes>& data) {
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

}  // namespace zqm
