// The books of a launch.
#include "soak/Account.h"

namespace zqm::soak {

Account::Number Account::numberOf(const std::string& url) {
  return std::stoull(url.substr(url.find_last_of('/') + 1));
}

Account::Number Account::enqueue() {
  const MutexLock lock(mutex_);
  ++accepted_;
  open_.insert(++last_);
  return last_;
}

void Account::remove(const std::string& url) {
  const MutexLock lock(mutex_);
  gone_.insert(numberOf(url));
}

void Account::deliver(const std::string& url) {
  const MutexLock lock(mutex_);
  if (!open_.contains(numberOf(url))) faults_.push_back(url + " was delivered again");
  gone_.insert(numberOf(url));
}

std::vector<std::string> Account::close(const ZQMQueueModel& pending, const QueueCounts& counts) {
  std::set<Number> left;
  pending.data.value_or(ZQMQueueItems()).forEach([&](const ZQMQueueDataModel& item) {
    left.insert(numberOf(*item.url.text()));
  });
  const MutexLock lock(mutex_);
  std::vector<std::string> faults = std::exchange(faults_, {});
  const auto expect = [&](const char* what, std::uint64_t is, std::uint64_t wanted) {
    if (is == wanted) return;
    std::string text(what);
    text.append(" is ").append(std::to_string(is)).append(", not ").append(std::to_string(wanted));
    faults.push_back(std::move(text));
  };
  for (const Number number : open_) {
    if (left.contains(number) || gone_.contains(number)) continue;
    faults.push_back("item " + std::to_string(number) + " is lost");
  }
  for (const Number number : left) {
    const bool isBack = !open_.contains(number) || gone_.contains(number);
    if (isBack) faults.push_back("item " + std::to_string(number) + " is back");
  }
  expect("pending", counts.pending, left.size());
  expect("pending, by the list", pending.count(), left.size());
  expect("accepted", counts.accepted, accepted_);
  expect("loaded", counts.loaded, loaded_);
  expect("delivered + removed + pending", counts.delivered + counts.removed + counts.pending,
         counts.loaded + counts.accepted);
  sum_.accepted += counts.accepted;
  sum_.delivered += counts.delivered;
  sum_.removed += counts.removed;
  open_ = std::move(left);
  loaded_ = open_.size();
  gone_.clear();
  accepted_ = 0;
  return faults;
}

std::string Account::summary() const {
  const MutexLock lock(mutex_);
  std::string text = std::to_string(sum_.accepted);
  text.append(" accepted, ").append(std::to_string(sum_.delivered)).append(" delivered, ");
  return text.append(std::to_string(sum_.removed)).append(" removed");
}

void WatchedHttp::send(HttpRequest request, std::function<void(HttpExchange)> completion) {
  const std::string url = request.url;
  real_->send(std::move(request),
              [this, url, completion = std::move(completion)](HttpExchange exchange) {
                const std::int32_t status = exchange.response ? exchange.response->status : 0;
                const bool isTaken = !exchange.error && (status == 200 || status == 404);
                if (isTaken && url.find("/queue/") != std::string::npos) account_.deliver(url);
                completion(std::move(exchange));
              });
}

}  // namespace zqm::soak
