// How fast one run delivers the queue on the loopback interface, beside POSTs of plain libcurl.
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <chrono>

#include "bench/Installation.h"
#include "bench/PendingQueue.h"
#include "tools/zqm/HttpServer.h"
#include "zqm/queue/ZQMQueueOperation.h"

namespace zqm::bench {
namespace {

// A run delivers every second of its items and ends with a report: its index advances over a
// removal.
constexpr std::size_t kItems = 100;

// A server that takes every request, and when they came. Only requests are counted, from the first
// to the last: the run's beginning and the report at its end are no deliveries.
class Arrivals {
 public:
  std::string url() const { return queueUrl(server_.url("/")); }

  void tell(benchmark::State& state) {
    const MutexLock lock(mutex_);
    if (count_ < 2) return state.SkipWithError("nothing arrived");
    const std::chrono::duration<double> each = (last_ - first_) / (count_ - 1);
    state.SetIterationTime(each.count());
    state.counters["per second"] = 1 / each.count();
    state.counters["requests"] = static_cast<double>(count_);
  }

 private:
  using Clock = std::chrono::steady_clock;

  tools::ServerReply arrived() {
    const MutexLock lock(mutex_);
    last_ = Clock::now();
    if (count_++ == 0) first_ = last_;
    return {};
  }

  Mutex mutex_;
  std::size_t count_ ZQM_GUARDED_BY(mutex_) = 0;
  Clock::time_point first_ ZQM_GUARDED_BY(mutex_);
  Clock::time_point last_ ZQM_GUARDED_BY(mutex_);
  const tools::HttpServer server_{[this](const tools::ServerRequest&) { return arrived(); }};
};

void QueueRun(benchmark::State& state) {
  Installation made;
  const Process::Scope scope(*made.process);
  Arrivals arrivals;
  for (auto _ : state) {
    ZQMQueueRule::sharedInstance().refreshQueue(pendingQueue(kItems, arrivals.url(), true));
    ZQMQueueOperation::start();
    made.process->drain();
    arrivals.tell(state);
  }
}
BENCHMARK(QueueRun)->UseManualTime()->Iterations(1);

// The floor: as many requests one after the other on one connection.
void QueueRunFloor(benchmark::State& state) {
  Arrivals arrivals;
  const std::string url = arrivals.url();
  const Bytes body = queueBody(0);
  for (auto _ : state) {
    CURL* const easy = curl_easy_init();
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.data());
    for (std::size_t sent = 0; sent < kItems / 2; ++sent) {
      if (curl_easy_perform(easy) != CURLE_OK) state.SkipWithError("not delivered");
    }
    curl_easy_cleanup(easy);
    arrivals.tell(state);
  }
}
BENCHMARK(QueueRunFloor)->UseManualTime()->Iterations(1);

}  // namespace
}  // namespace zqm::bench
