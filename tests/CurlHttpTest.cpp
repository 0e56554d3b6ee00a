// The transport against a real server: requests, answers, failures and its own life.
#include "zqm/platform/curl/CurlHttp.h"

#include <gtest/gtest.h>

#include <latch>
#include <thread>
#include <tuple>

#include "tests/support/Environment.h"
#include "tests/support/HttpClient.h"
#include "tests/support/TestAuthority.h"

namespace zqm::testing {
namespace {

using namespace std::chrono_literals;

ServerReply ok(const ServerRequest& request) {
  if (request.target == "/stall") return {.misbehaviour = Misbehaviour::stall};
  return {.body = "fine"};
}

TEST(CurlHttpTest, SendsMethodBodyAndLengthAsTheyAreGiven) {
  const HttpServer server(ok);
  CurlHttp http({});
  using Case = std::tuple<std::string, std::optional<Bytes>, std::optional<std::string>>;
  std::uint64_t connection = 0;
  for (const auto& [method, body, length] :
       std::vector<Case>{{"GET", std::nullopt, std::nullopt},
                         {"GET", toBytes("{\"a\":1}"), "7"},
                         {"POST", std::nullopt, "0"},
                         {"POST", Bytes(20'000'000, 0), "20000000"},
                         {"PUT", toBytes("{\"a\":1}"), "7"},
                         {"HEAD", std::nullopt, std::nullopt},
                         {"get", std::nullopt, std::nullopt}}) {
    SCOPED_TRACE(method);
    const auto answer = exchange(http, {server.url("/a?b=c"), method, {}, body});
    EXPECT_EQ(answer.body, toBytes(method == "HEAD" ? "" : "fine"));
    const ServerRequest seen = server.requests().back();
    EXPECT_EQ(seen.method, method);
    EXPECT_EQ(seen.target, "/a?b=c");
    EXPECT_EQ(seen.header("Content-Length"), length);
    EXPECT_TRUE(seen.body == asText(body.value_or(Bytes{})));
    EXPECT_FALSE(seen.header("Expect"));
    EXPECT_FALSE(seen.header("Content-Type"));
    EXPECT_EQ(seen.connection, ++connection) << "each request has a connection of its own";
  }
}

TEST(CurlHttpTest, PassesHeadersAndEveryStatusAsTheyAreAndKeepsNoCookies) {
  const HttpServer server([](const ServerRequest& request) {
    return ServerReply{.status = std::stoi(request.target.substr(1)),
                       .headers = {{"Set-Cookie", "caf\xE9=1"}, {"X-Word", " two "}}};
  });
  CurlHttp http({});
  const std::vector<HttpHeader> headers = {
      {"Content-Type", "a/b"}, {"euid", " blank; \t\xC3\xA9 "}, {"X-Empty", ""}, {"X-Blank", " "}};
  for (const char* path : {"/200", "/204", "/300", "/304", "/401", "/599"}) {
    const auto answer = exchange(http, {server.url(path), "POST", headers, std::nullopt});
    ASSERT_TRUE(answer.response) << path;
    EXPECT_EQ(answer.response->status, std::stoi(path + 1));
    EXPECT_EQ(answer.response->headers.at(0).value, "caf\xC3\xA9=1");
    EXPECT_EQ(answer.response->headers.at(1).value, "two");
    EXPECT_EQ(answer.body, Bytes{});
    const ServerRequest seen = server.requests().back();
    EXPECT_EQ(seen.header("Content-Type"), "a/b");
    EXPECT_EQ(seen.header("euid"), "blank; \t\xC3\xA9");
    EXPECT_EQ(seen.header("X-Empty"), "");
    EXPECT_EQ(seen.header("X-Blank"), "");
    EXPECT_FALSE(seen.header("Cookie"));
    EXPECT_FALSE(seen.header("User-Agent"));
  }
}

TEST(CurlHttpTest, TakesABodyOfTheLimitAndNoByteMore) {
  const auto errorFor = [](const ServerReply& reply) {
    const HttpServer server([&](const ServerRequest&) { return reply; });
    CurlHttp http({});
    return errorCode(get(http, server.url("/")));
  };
  EXPECT_EQ(errorFor({.body = std::string(16u << 20, 'x')}), 0);
  EXPECT_EQ(errorFor({.body = std::string((16u << 20) + 1, 'x')}), httpError::kTooLarge);
  EXPECT_EQ(errorFor({.headers = tools::ServerHeaders(1000, {"X-Many", std::string(1000, 'h')})}),
            httpError::kTooLarge);
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
  for (const HttpHeader& header : std::vector<HttpHeader>{{"euid", "1\r\nX-Injected: 1"},
                                                          {"euid", "1\n"},
                                                          {"euid", "1\0"s},
                                                          {"X\r\nY", "1"},
                                                          {"X: Y", "1"},
                                                          {"", "1"}}) {
    const auto answer = exchange(http, {server.url("/"), "GET", {header}, std::nullopt});
    EXPECT_EQ(errorCode(answer), httpError::kBrokenLine) << header.name << header.value;
  }
  EXPECT_TRUE(server.requests().empty());
}

TEST(CurlHttpTest, UsesTheProxySetInCodeAndNeverTheEnvironments) {
  constexpr const char* kNowhere = "http://127.0.0.1:9";
  const Environment set{{"http_proxy", kNowhere}, {"all_proxy", kNowhere}, {"ALL_PROXY", kNowhere}};
  const HttpServer server(ok);
  CurlHttp direct({});
  EXPECT_FALSE(get(direct, server.url("/")).error);
  const Environment none{{"no_proxy", "*"}};
  CurlHttp proxied({.proxy = server.url("")});
  EXPECT_FALSE(get(proxied, "http://backend.invalid/start").error);
  EXPECT_EQ(server.requests().back().target, "http://backend.invalid/start");
}

TEST(CurlHttpTest, TrustsOnlyTheServersOfItsAuthorities) {
  TestAuthority authority;
  const TestAuthority other;
  const HttpServer server(ok, authority.issue("IP:127.0.0.1"));
  const HttpServer otherName(ok, authority.issue("DNS:backend.test"));
  const auto errorOf = [](const HttpServer& asked, const std::string& authoritiesFile) {
    CurlHttp http({.authoritiesFile = authoritiesFile});
    return errorCode(get(http, asked.url("/")));
  };
  EXPECT_EQ(errorOf(server, authority.authoritiesFile()), 0);
  EXPECT_EQ(errorOf(otherName, authority.authoritiesFile()), -60);
  EXPECT_EQ(errorOf(server, other.authoritiesFile()), -60);
  EXPECT_EQ(errorOf(server, "/missing"), -77);
  EXPECT_EQ(server.requests().size(), 1u);
  EXPECT_EQ(otherName.requests().size(), 0u);
}

// With an I/O thread that goes and comes back between two requests.
TEST(CurlHttpTest, ServesMoreThreadsThanConnectionsWhileCompletionsBlock) {
  constexpr int kThreads = 40;
  const HttpServer server(ok);
  CurlHttp http({.idleTime = 0ms});
  std::latch arrived(kThreads);
  std::latch left(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    http.send(getRequest(server.url("/")), [&](const HttpExchange&) {
      arrived.arrive_and_wait();
      // As a kit module's start may, each waits for other exchanges.
      for (int j = 0; j < 10; ++j) EXPECT_FALSE(get(http, server.url("/nested")).error);
      left.count_down();
    });
  }
  left.wait();
}

TEST(CurlHttpTest, DestroysACompletionOnItsThreadWhateverItThrows) {
  const HttpServer server(ok);
  CurlHttp http({});
  std::thread::id called;
  std::promise<std::thread::id> destroyed;
  std::shared_ptr<void> captured(nullptr,
                                 [&](void*) { destroyed.set_value(std::this_thread::get_id()); });
  http.send(getRequest(server.url("/")),
            [&called, captured = std::move(captured)](const HttpExchange&) {
              called = std::this_thread::get_id();
              throw 42;
            });
  const std::thread::id thread = destroyed.get_future().get();
  EXPECT_EQ(thread, called);
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_FALSE(get(http, server.url("/")).error);
}

TEST(CurlHttpTest, EndsWhatIsInFlightWhenItIsDestroyedEvenByItsOwnCompletion) {
  const HttpServer server(ok);
  auto http = std::make_unique<CurlHttp>(CurlHttpOptions{});
  std::latch sent(1);
  std::latch ended(3);
  const auto stall = [&] {
    http->send(getRequest(server.url("/stall")), [&](const HttpExchange& answer) {
      EXPECT_EQ(errorCode(answer), httpError::kClosed);
      ended.count_down();
    });
  };
  stall();
  server.waitForRequests(1, 30s);
  http->send(getRequest(server.url("/")), [&](const HttpExchange&) {
    sent.wait();
    stall();
    http.reset();
    ended.count_down();
  });
  sent.count_down();
  ended.wait();
}

}  // namespace
}  // namespace zqm::testing
