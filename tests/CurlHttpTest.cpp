// The transport against a real server: requests, answers, failures and its own life.
#include "zqm/platform/linux/CurlHttp.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>

#include "tests/support/HttpClient.h"
#include "tests/support/TestAuthority.h"
#include "tools/zqm/HttpServer.h"

namespace zqm {
namespace {

using namespace std::chrono_literals;
using testing::errorCode;
using testing::exchange;
using testing::get;
using tools::HttpServer;
using tools::Misbehaviour;
using tools::ServerReply;
using tools::ServerRequest;

std::string pathOf(int number) { return std::string("/").append(std::to_string(number)); }

ServerReply ok(const ServerRequest&) { return {.body = "fine"}; }

TEST(CurlHttpTest, SendsMethodBodyAndLengthAsTheyAreGiven) {
  const HttpServer server(ok);
  CurlHttp http({});
  struct Case {
    const char* method;
    std::optional<Bytes> body;
    std::optional<std::string> length;
  };
  const Bytes text = toBytes("{\"a\":1}");
  const std::vector<Case> cases = {
      {"GET", std::nullopt, std::nullopt},
      {"GET", text, "7"},
      {"POST", std::nullopt, "0"},
      {"POST", Bytes{}, "0"},
      {"POST", Bytes(20'000'000, 0), "20000000"},
      {"PUT", std::nullopt, "0"},
      {"PUT", text, "7"},
      {"PATCH", std::nullopt, "0"},
      {"DELETE", std::nullopt, std::nullopt},
      {"HEAD", std::nullopt, std::nullopt},
      {"get", std::nullopt, std::nullopt},
  };
  std::uint64_t connection = 0;
  for (const Case& each : cases) {
    SCOPED_TRACE(each.method);
    const auto answer = exchange(http, {server.url("/a?b=c"), each.method, {}, each.body});
    ASSERT_FALSE(answer.error);
    EXPECT_EQ(answer.body, toBytes(each.method == std::string("HEAD") ? "" : "fine"));
    const ServerRequest seen = server.requests().back();
    EXPECT_EQ(seen.method, each.method);
    EXPECT_EQ(seen.target, "/a?b=c");
    EXPECT_EQ(seen.header("Content-Length"), each.length);
    EXPECT_TRUE(seen.body == asText(each.body.value_or(Bytes{})));
    EXPECT_FALSE(seen.header("Expect"));
    EXPECT_FALSE(seen.header("Content-Type"));
    EXPECT_EQ(seen.connection, ++connection) << "each request has a connection of its own";
  }
}

TEST(CurlHttpTest, SendsHeadersAsTheyAreAndKeepsNoCookies) {
  const HttpServer server([](const ServerRequest&) {
    return ServerReply{.headers = {{"Set-Cookie", "a=b"}}};
  });
  CurlHttp http({});
  const std::vector<HttpHeader> headers = {{"Accept", "application/json", false},
                                           {"Content-Type", "application/json", false},
                                           {"euid", " blank; \t\xC3\xA9 ", true},
                                           {"X-Empty", "", false},
                                           {"X-Blank", " ", false}};
  for (int i = 0; i < 2; ++i) {
    ASSERT_FALSE(exchange(http, {server.url("/"), "POST", headers, std::nullopt}).error);
    const ServerRequest seen = server.requests().back();
    EXPECT_EQ(seen.header("Accept"), "application/json");
    EXPECT_EQ(seen.header("Content-Type"), "application/json");
    EXPECT_EQ(seen.header("euid"), "blank; \t\xC3\xA9");
    EXPECT_EQ(seen.header("X-Empty"), "");
    EXPECT_EQ(seen.header("X-Blank"), "");
    EXPECT_FALSE(seen.header("Cookie"));
    EXPECT_FALSE(seen.header("User-Agent"));
  }
}

TEST(CurlHttpTest, AnswersEveryStatusWithHeadersAndABody) {
  const HttpServer server([](const ServerRequest& request) {
    return ServerReply{.status = std::stoi(request.target.substr(1)),
                       .headers = {{"X-Word", "caf\xE9"}, {"X-Word", " two "}}};
  });
  CurlHttp http({});
  for (const int status : {200, 204, 300, 302, 304, 401, 404, 500, 599}) {
    const std::string url = server.url(pathOf(status));
    const auto answer = get(http, url);
    ASSERT_TRUE(answer.response) << status;
    EXPECT_EQ(answer.response->status, status);
    EXPECT_EQ(answer.response->url, url);
    EXPECT_EQ(answer.body, Bytes{});
    EXPECT_EQ(answer.response->headers.at(0).value, "caf\xC3\xA9");
    EXPECT_EQ(answer.response->headers.at(1).value, "two");
  }
}

TEST(CurlHttpTest, EndsWithAnErrorWhateverTheServerDoes) {
  const HttpServer server([](const ServerRequest& request) {
    const int kind = std::stoi(request.target.substr(1));
    return ServerReply{.body = std::string(100, 'x'),
                       .misbehaviour = static_cast<Misbehaviour>(kind),
                       .delay = kind == static_cast<int>(Misbehaviour::slowDrip) ? 20ms : 0ms};
  });
  CurlHttp http({.exchangeLimit = 500ms, .bodyLimit = 1u << 20});
  const std::vector<std::pair<Misbehaviour, std::int64_t>> cases = {
      {Misbehaviour::none, 0},
      {Misbehaviour::closeBeforeReply, -52},
      {Misbehaviour::resetBeforeReply, -56},
      {Misbehaviour::resetWithinReply, -56},
      {Misbehaviour::resetAfterReply, 0},
      {Misbehaviour::stall, -28},
      {Misbehaviour::stallWithinReply, -28},
      {Misbehaviour::slowDrip, -28},
      {Misbehaviour::garbage, -1},
      {Misbehaviour::tooLong, -18},
      {Misbehaviour::badChunking, -56},
      {Misbehaviour::hugeHeader, -27},
      {Misbehaviour::endless, httpError::kTooLarge},
  };
  for (const auto& [misbehaviour, code] : cases) {
    const std::string path = pathOf(static_cast<int>(misbehaviour));
    const auto began = std::chrono::steady_clock::now();
    const auto answer = get(http, server.url(path));
    EXPECT_LT(std::chrono::steady_clock::now() - began, 10s) << path;
    EXPECT_EQ(errorCode(answer), code) << path;
    EXPECT_EQ(answer.response.has_value(), code == 0) << path;
    if (!answer.error) continue;
    EXPECT_EQ(answer.error->domain, "RequestException");
    EXPECT_FALSE(answer.error->userInfo[kLocalizedDescriptionKey].string()->empty()) << path;
    EXPECT_FALSE(answer.body) << path;
  }
}

TEST(CurlHttpTest, TakesABodyOfTheLimitAndNoByteMore) {
  const HttpServer server([](const ServerRequest& request) {
    const std::size_t limit = 16u << 20;
    if (request.target == "/headers") {
      ServerReply reply;
      for (int i = 0; i < 1000; ++i) reply.headers.emplace_back("X-Many", std::string(1000, 'h'));
      return reply;
    }
    return ServerReply{.body = std::string(request.target == "/more" ? limit + 1 : limit, 'x')};
  });
  CurlHttp http({});
  EXPECT_EQ(get(http, server.url("/limit")).body.value_or(Bytes{}).size(), 16u << 20);
  EXPECT_EQ(errorCode(get(http, server.url("/more"))), httpError::kTooLarge);
  EXPECT_EQ(errorCode(get(http, server.url("/headers"))), httpError::kTooLarge);
}

TEST(CurlHttpTest, SendsNothingForWhatIsNoRequest) {
  using namespace std::string_literals;
  const HttpServer server(ok);
  CurlHttp http({});
  const std::string host = server.url("").substr(7);
  for (const std::string& url :
       {"(null)init"s, ""s, host, "//" + host, "http://"s, server.url("/a b"), "ftp://" + host,
        "file:///etc/passwd"s, server.url("/\r\nX-Injected: 1"), server.url("/\0"s)}) {
    EXPECT_LT(errorCode(get(http, url)), 0) << url;
  }
  for (const std::string& method : {"POST / HTTP/1.1\r\nX: y\r\n\r\n"s, "GET\0"s, "A B"s, ""s}) {
    const auto answer = exchange(http, {server.url("/"), method, {}, std::nullopt});
    EXPECT_EQ(errorCode(answer), httpError::kBrokenLine) << method;
  }
  for (const HttpHeader& header : std::vector<HttpHeader>{{"euid", "1\r\nX-Injected: 1", true},
                                                          {"euid", "1\n", true},
                                                          {"euid", "1\0"s, true},
                                                          {"X\r\nY", "1", false},
                                                          {"X: Y", "1", false},
                                                          {"", "1", false}}) {
    const auto answer = exchange(http, {server.url("/"), "GET", {header}, std::nullopt});
    EXPECT_EQ(errorCode(answer), httpError::kBrokenLine) << header.name << header.value;
  }
  ASSERT_FALSE(get(http, server.url("/")).error);
  EXPECT_EQ(server.requests().size(), 1u);
}

TEST(CurlHttpTest, UsesTheProxySetInCodeAndNeverTheEnvironments) {
  const HttpServer server(ok);
  for (const char* name : {"http_proxy", "all_proxy", "ALL_PROXY"}) {
    setenv(name, "http://127.0.0.1:9", 1);
  }
  setenv("no_proxy", "*", 1);
  CurlHttp direct({});
  EXPECT_FALSE(get(direct, server.url("/")).error);
  CurlHttp proxied({.proxy = server.url("")});
  EXPECT_FALSE(get(proxied, "http://backend.invalid/start").error);
  EXPECT_EQ(server.requests().back().target, "http://backend.invalid/start");
  for (const char* name : {"http_proxy", "all_proxy", "ALL_PROXY", "no_proxy"}) unsetenv(name);
}

TEST(CurlHttpTest, TrustsOnlyTheServersOfItsAuthorities) {
  testing::TestAuthority authority;
  testing::TestAuthority other;
  const HttpServer server(ok, authority.issue("IP:127.0.0.1"));
  const HttpServer otherName(ok, authority.issue("DNS:backend.test"));
  CurlHttp http({.authoritiesFile = authority.authoritiesFile()});
  for (int i = 0; i < 3; ++i) EXPECT_EQ(get(http, server.url("/")).body, toBytes("fine"));
  EXPECT_EQ(errorCode(get(http, otherName.url("/"))), -60);
  CurlHttp distrusting({.authoritiesFile = other.authoritiesFile()});
  EXPECT_EQ(errorCode(get(distrusting, server.url("/"))), -60);
  CurlHttp withSystemAuthorities({});
  EXPECT_LT(errorCode(get(withSystemAuthorities, server.url("/"))), 0);
  CurlHttp withoutAuthorities({.authoritiesFile = "/missing"});
  EXPECT_EQ(errorCode(get(withoutAuthorities, server.url("/"))), -77);
  EXPECT_EQ(server.requests().size(), 3u);
  EXPECT_EQ(otherName.requests().size(), 0u);
}

TEST(CurlHttpTest, GoesOnWhileCompletionsBlock) {
  const HttpServer server(ok);
  CurlHttp http({});
  constexpr int kBlocking = 20;
  std::latch arrived(kBlocking);
  std::latch released(1);
  std::latch left(kBlocking);
  for (int i = 0; i < kBlocking; ++i) {
    http.send({server.url("/"), "GET", {}, std::nullopt}, [&](const HttpExchange& answer) {
      EXPECT_FALSE(answer.error);
      // One that waits for another exchange, as a kit module's start may.
      EXPECT_FALSE(get(http, server.url("/nested")).error);
      arrived.count_down();
      released.wait();
      left.count_down();
    });
  }
  arrived.wait();
  EXPECT_FALSE(get(http, server.url("/last")).error);
  released.count_down();
  left.wait();
}

TEST(CurlHttpTest, DestroysACompletionOnItsThreadWhateverItThrows) {
  const HttpServer server(ok);
  CurlHttp http({});
  std::promise<std::thread::id> called;
  std::promise<std::thread::id> destroyed;
  std::shared_ptr<void> captured(
      nullptr, [&destroyed](void*) { destroyed.set_value(std::this_thread::get_id()); });
  http.send({server.url("/"), "GET", {}, std::nullopt},
            [&called, captured = std::move(captured)](const HttpExchange&) {
              called.set_value(std::this_thread::get_id());
              throw 42;
            });
  const auto thread = called.get_future().get();
  EXPECT_EQ(destroyed.get_future().get(), thread);
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_FALSE(get(http, server.url("/")).error);
}

TEST(CurlHttpTest, EndsWhatIsInFlightWhenItIsDestroyed) {
  const HttpServer server(
      [](const ServerRequest&) { return ServerReply{.misbehaviour = Misbehaviour::stall}; });
  for (const std::size_t before : {0, 1, 4}) {
    constexpr int kRequests = 4;
    std::latch completed(kRequests);
    std::atomic<int> closed = 0;
    auto http = std::make_unique<CurlHttp>(CurlHttpOptions{});
    const std::size_t seen = server.requests().size();
    for (int i = 0; i < kRequests; ++i) {
      http->send({server.url("/"), "GET", {}, std::nullopt}, [&](const HttpExchange& answer) {
        if (errorCode(answer) == httpError::kClosed) ++closed;
        completed.count_down();
      });
    }
    server.waitForRequests(seen + before, 30s);
    http.reset();
    completed.wait();
    EXPECT_EQ(closed, kRequests);
  }
}

TEST(CurlHttpTest, MayBeDestroyedByItsOwnCompletion) {
  const HttpServer server(ok);
  auto http =
      std::make_shared<std::unique_ptr<CurlHttp>>(std::make_unique<CurlHttp>(CurlHttpOptions{}));
  std::latch completed(1);
  (*http)->send({server.url("/"), "GET", {}, std::nullopt}, [&, http](const HttpExchange& answer) {
    EXPECT_FALSE(answer.error);
    http->reset();
    completed.count_down();
  });
  completed.wait();
}

TEST(CurlHttpTest, ServesMoreThreadsThanConnectionsWhileItsOwnComesAndGoes) {
  const HttpServer server(ok);
  CurlHttp http({.idleTime = 0ms});
  std::vector<std::jthread> hosts;
  for (int i = 0; i < 40; ++i) {
    hosts.emplace_back([&] {
      for (int j = 0; j < 10; ++j) EXPECT_FALSE(get(http, server.url("/")).error);
    });
  }
}

// Some of the requests are in their handshake, some wait for an answer that will not come.
[[noreturn]] void exitAmidExchanges(const std::string& url, const std::string& authoritiesFile) {
  static auto& http = *new CurlHttp({.authoritiesFile = authoritiesFile});
  static auto& answered = *new std::promise<void>;
  for (int i = 0; i < 8; ++i) http.send({url + "/stall", "GET", {}, std::nullopt}, nullptr);
  http.send({url + "/", "GET", {}, std::nullopt},
            [](const HttpExchange&) { answered.set_value(); });
  answered.get_future().wait();
  for (int i = 0; i < 8; ++i) http.send({url + "/stall", "GET", {}, std::nullopt}, nullptr);
  std::exit(0);
}

TEST(CurlHttpDeathTest, LetsTheProcessExitAmidExchanges) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // The child runs this body again up to its end, and uses the server of its parent.
  constexpr const char* kUrl = "ZQM_TEST_URL";
  constexpr const char* kAuthorities = "ZQM_TEST_AUTHORITIES";
  std::unique_ptr<testing::TestAuthority> authority;
  std::unique_ptr<HttpServer> server;
  if (!std::getenv(kUrl)) {
    authority = std::make_unique<testing::TestAuthority>();
    server = std::make_unique<HttpServer>(
        [](const ServerRequest& request) {
          const bool stalls = request.target == "/stall";
          return ServerReply{.misbehaviour = stalls ? Misbehaviour::stall : Misbehaviour::none};
        },
        authority->issue("IP:127.0.0.1"));
    setenv(kUrl, server->url("").c_str(), 1);
    setenv(kAuthorities, authority->authoritiesFile().c_str(), 1);
  }
  for (int i = 0; i < 20; ++i) {
    EXPECT_EXIT(exitAmidExchanges(std::getenv(kUrl), std::getenv(kAuthorities)),
                ::testing::ExitedWithCode(0), "");
  }
  unsetenv(kUrl);
  unsetenv(kAuthorities);
}

}  // namespace
}  // namespace zqm
