// What the hosts enqueued and what became of it, as seen from outside of the library.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "zqm/base/Mutex.h"
#include "zqm/platform/Http.h"
#include "zqm/queue/ZQMQueueRule.h"

namespace zqm::soak {

// Any thread.
class Account {
 public:
  using Number = std::uint64_t;

  // Before the call.
  Number enqueue();
  // Before the call; the item may have left already.
  void remove(const std::string& url);
  // The backend took the item.
  void deliver(const std::string& url);

  // At the end of a launch: what is wrong, a sentence each. The next launch begins with `pending`.
  std::vector<std::string> close(const ZQMQueueModel& pending, const QueueCounts& counts);

  std::string summary() const;

 private:
  static Number numberOf(const std::string& url);

  mutable Mutex mutex_;
  Number last_ ZQM_GUARDED_BY(mutex_) = 0;
  // Of this launch and pending from earlier ones.
  std::set<Number> open_ ZQM_GUARDED_BY(mutex_);
  std::set<Number> gone_ ZQM_GUARDED_BY(mutex_);
  std::vector<std::string> faults_ ZQM_GUARDED_BY(mutex_);
  std::size_t accepted_ ZQM_GUARDED_BY(mutex_) = 0;
  std::size_t loaded_ ZQM_GUARDED_BY(mutex_) = 0;
  QueueCounts sum_ ZQM_GUARDED_BY(mutex_);
};

// Tells the account of what it delivers.
class WatchedHttp : public Http {
 public:
  WatchedHttp(std::shared_ptr<Http> real, Account& account)
      : real_(std::move(real)), account_(account) {}

  void send(HttpRequest request, std::function<void(HttpExchange)> completion) override;
  void download(HttpRequest request, std::function<void(HttpDownload)> completion) override {
    real_->download(std::move(request), std::move(completion));
  }

 private:
  const std::shared_ptr<Http> real_;
  Account& account_;
};

}  // namespace zqm::soak
