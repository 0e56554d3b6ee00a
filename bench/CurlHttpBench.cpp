// One exchange of the transport on the loopback interface, beside a plain one of libcurl.
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <latch>

#include "bench/Authorities.h"
#include "tests/support/HttpClient.h"
#include "tools/zqm/HttpServer.h"
#include "zqm/platform/curl/CurlHttp.h"

namespace zqm::bench {
namespace {

tools::ServerReply answer(const tools::ServerRequest&) { return {.body = "{\"euid\":\"1\"}"}; }

std::size_t keep(char* data, std::size_t, std::size_t count, void* body) {
  static_cast<std::string*>(body)->append(data, count);
  return count;
}

// One after another with one handle, which keeps the authorities that it has loaded; like the
// transport's, each exchange has a connection and a TLS session of its own.
class PlainExchanges {
 public:
  explicit PlainExchanges(const std::string& url, const std::string& authorities = {}) {
    curl_easy_setopt(easy_, CURLOPT_URL, url.c_str());
    if (!authorities.empty()) curl_easy_setopt(easy_, CURLOPT_CAINFO, authorities.c_str());
    curl_easy_setopt(easy_, CURLOPT_CAPATH, nullptr);
    curl_easy_setopt(easy_, CURLOPT_FRESH_CONNECT, 1L);
    curl_easy_setopt(easy_, CURLOPT_FORBID_REUSE, 1L);
    curl_easy_setopt(easy_, CURLOPT_SSL_SESSIONID_CACHE, 0L);
    curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &keep);
    curl_easy_setopt(easy_, CURLOPT_WRITEDATA, &body_);
  }
  ~PlainExchanges() { curl_easy_cleanup(easy_); }
  PlainExchanges(const PlainExchanges&) = delete;
  PlainExchanges& operator=(const PlainExchanges&) = delete;

  void once() {
    body_.clear();
    if (curl_easy_perform(easy_) != CURLE_OK) std::abort();
  }

 private:
  CURL* const easy_ = curl_easy_init();
  std::string body_;
};

void exchangeOnce(Http& http, const std::string& url) {
  if (testing::get(http, url).error) std::abort();
}

void ExchangeOverHttp(benchmark::State& state) {
  const tools::HttpServer server(answer);
  CurlHttp http({});
  for (auto _ : state) exchangeOnce(http, server.url("/"));
}
BENCHMARK(ExchangeOverHttp)->UseRealTime();

void ExchangeOverHttpFloor(benchmark::State& state) {
  const tools::HttpServer server(answer);
  PlainExchanges plain(server.url("/"));
  for (auto _ : state) plain.once();
}
BENCHMARK(ExchangeOverHttpFloor)->UseRealTime();

void ExchangeOverHttps(benchmark::State& state) {
  Authorities authorities;
  const tools::HttpServer server(answer, authorities.files());
  CurlHttp http({.authoritiesFile = authorities.file()});
  exchangeOnce(http, server.url("/"));
  for (auto _ : state) exchangeOnce(http, server.url("/"));
  state.counters["times its floor"] = 1.3;
}
BENCHMARK(ExchangeOverHttps)->UseRealTime();

void FirstExchangeOverHttps(benchmark::State& state) {
  Authorities authorities;
  const tools::HttpServer server(answer, authorities.files());
  for (auto _ : state) {
    CurlHttp http({.authoritiesFile = authorities.file()});
    exchangeOnce(http, server.url("/"));
  }
}
BENCHMARK(FirstExchangeOverHttps)->UseRealTime();

void ExchangeOverHttpsFloor(benchmark::State& state) {
  Authorities authorities;
  const tools::HttpServer server(answer, authorities.files());
  PlainExchanges plain(server.url("/"), authorities.file());
  plain.once();
  for (auto _ : state) plain.once();
}
BENCHMARK(ExchangeOverHttpsFloor)->UseRealTime();

// What the calling thread pays.
void SendOverHttp(benchmark::State& state) {
  const tools::HttpServer server(answer);
  CurlHttp http({});
  const std::string url = server.url("/");
  for (auto _ : state) {
    std::latch completed(1);
    const auto began = std::chrono::steady_clock::now();
    http.send({url, "GET", {}, std::nullopt},
              [&completed](const HttpExchange&) { completed.count_down(); });
    state.SetIterationTime(
        std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count());
    completed.wait();
  }
}
BENCHMARK(SendOverHttp)->UseManualTime();

}  // namespace
}  // namespace zqm::bench
