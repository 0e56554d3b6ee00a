// Requests that wait for their delivery, each a body of 300 bytes to a url of 60.
#pragma once

#include <string>
#include <utility>

#include "zqm/platform/Process.h"
#include "zqm/queue/ZQMQueueModel.h"
#include "zqm/queue/ZQMQueueRule.h"

namespace zqm::bench {

inline constexpr std::size_t kUrlSize = 60;

// Nobody listens at that port.
inline std::string queueUrl(std::string start = "http://127.0.0.1:9/") {
  if (start.size() < kUrlSize) start.append(kUrlSize - start.size(), 'u');
  return start;
}

// No two are the same: a property list would hold them once.
inline Bytes queueBody(std::size_t number) {
  std::string text = std::to_string(number);
  text.resize(300, 'b');
  return Bytes(text.begin(), text.end());
}

// Made at once: enqueued one by one, 10,000 of them would take forever where a call costs in
// proportion to the queue. Ordinary ones are dated now, so that they are held back without Wi-Fi.
inline ZQMQueueModel pendingQueue(std::size_t count, const std::string& url = queueUrl(),
                                  bool priority = false) {
  ZQMQueueModel queue;
  queue.data.emplace();
  const Date now = platform().clock->now();
  for (std::size_t made = 0; made < count; ++made) {
    queue.data->append(std::make_shared<const ZQMQueueDataModel>(now, queueBody(made), Text(url),
                                                                 Text("POST"), priority));
  }
  return queue;
}

// What a host hands over.
struct Handed {
  Text url;
  Bytes body;
  Text method;
  Date date;
};

inline Handed nextHanded() {
  static const std::string url = queueUrl();
  static std::size_t number = 1000000;
  return {url, queueBody(++number), "POST", platform().clock->now()};
}

inline void enqueue(Handed item) {
  ZQMQueueRule::sharedInstance().enqueue(item.url, std::move(item.body), item.method, item.date,
                                         false);
}

// Read as for its delivery.
inline ZQMQueueItems::Item firstPending() {
  auto item = ZQMQueueRule::sharedInstance().itemAt(0);
  [[maybe_unused]] const ZQMQueueDataModel read = *item;
  return item;
}
inline ZQMQueueItems::Item midmostPending() {
  const auto queue = ZQMQueueRule::sharedInstance().getQueue();
  return queue->data->at(queue->count() / 2);
}

inline void remove(const ZQMQueueItems::Item& item) {
  ZQMQueueRule::sharedInstance().removeDelivered(item);
}

// As the first argument of this program: to enqueue for ever, in the container of a package and a
// data directory.
inline constexpr const char* kEnqueueOption = "--enqueue";

inline void enqueueOne() { enqueue(nextHanded()); }
inline void removeFirst() { remove(firstPending()); }

}  // namespace zqm::bench
