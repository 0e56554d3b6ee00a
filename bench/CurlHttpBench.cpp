// One exchange of the transport on the loopback interface, beside a plain one of libcurl.
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <filesystem>
#include <fstream>
#include <latch>

#include "tests/support/HttpClient.h"
#include "tests/support/TestAuthority.h"
#include "tools/zqm/HttpServer.h"
#include "zqm/platform/linux/CurlHttp.h"

namespace zqm {
namespace {

constexpr const char* kSystemAuthorities = "/etc/ssl/certs/ca-certificates.crt";

// With as many authorities as a client of a real server reads.
class Authorities {
 public:
  Authorities() {
    std::ofstream all(file());
    all << std::ifstream(kSystemAuthorities).rdbuf();
    all << std::ifstream(authority_.authoritiesFile()).rdbuf();
  }
  std::string file() const { return directory_.path() / "all.pem"; }
  tools::TlsFiles files() { return authority_.issue("IP:127.0.0.1"); }

 private:
  testing::TemporaryDirectory directory_;
  testing::TestAuthority authority_;
};

tools::ServerReply answer(const tools::ServerRequest&) { return {.body = "{\"euid\":\"1\"}"}; }

std::size_t keep(char* data, std::size_t, std::size_t count, void* body) {
  static_cast<std::string*>(body)->append(data, count);
  return count;
}

void exchangeWithLibcurl(const std::string& url, const std::string& authorities) {
  std::string body;
  CURL* const easy = curl_easy_init();
  curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy, CURLOPT_CAINFO, authorities.c_str());
  curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &keep);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
  if (curl_easy_perform(easy) != CURLE_OK) std::abort();
  curl_easy_cleanup(easy);
}

void exchangeOnce(Http& http, const std::string& url) {
  if (testing::get(http, url).error) std::abort();
}

void ExchangeOverHttp(benchmark::State& state) {
  const tools::HttpServer server(answer);
  CurlHttp http({});
  for (auto _ : state) exchangeOnce(http, server.url("/"));
}
BENCHMARK(ExchangeOverHttp)->UseRealTime();

void LibcurlExchangeOverHttp(benchmark::State& state) {
  const tools::HttpServer server(answer);
  for (auto _ : state) exchangeWithLibcurl(server.url("/"), kSystemAuthorities);
}
BENCHMARK(LibcurlExchangeOverHttp)->UseRealTime();

void ExchangeOverHttps(benchmark::State& state) {
  Authorities authorities;
  const tools::HttpServer server(answer, authorities.files());
  CurlHttp http({.authoritiesFile = authorities.file()});
  exchangeOnce(http, server.url("/"));
  for (auto _ : state) exchangeOnce(http, server.url("/"));
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

void LibcurlExchangeOverHttps(benchmark::State& state) {
  Authorities authorities;
  const tools::HttpServer server(answer, authorities.files());
  for (auto _ : state) exchangeWithLibcurl(server.url("/"), authorities.file());
}
BENCHMARK(LibcurlExchangeOverHttps)->UseRealTime();

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
}  // namespace zqm
