// Redirects of the transport: how many, where to, and what goes along.
#include <gtest/gtest.h>

#include "tests/support/HttpClient.h"
#include "tests/support/TestAuthority.h"
#include "tools/zqm/HttpServer.h"
#include "zqm/platform/linux/CurlHttp.h"

namespace zqm {
namespace {

using testing::errorCode;
using testing::exchange;
using testing::get;
using tools::HttpServer;
using tools::ServerReply;
using tools::ServerRequest;

ServerReply redirect(int status, const std::string& location) {
  return {.status = status, .headers = {{"Location", location}}, .body = "elsewhere"};
}

TEST(CurlHttpRedirectTest, FollowsSixteenRedirectsAndNoMore) {
  const HttpServer server([](const ServerRequest& request) {
    const int left = std::stoi(request.target.substr(1));
    return left == 0 ? ServerReply{.headers = {{"X-Last", "1"}}, .body = "here"}
                     : redirect(302, std::to_string(left - 1));
  });
  CurlHttp http({});
  const auto answer = get(http, server.url("/16"));
  ASSERT_TRUE(answer.response);
  EXPECT_EQ(answer.response->url, server.url("/0"));
  EXPECT_EQ(answer.body, toBytes("here"));
  for (const HttpHeader& header : answer.response->headers) EXPECT_NE(header.name, "Location");
  EXPECT_EQ(errorCode(get(http, server.url("/17"))), -47);
}

TEST(CurlHttpRedirectTest, GoesOnAsTheStatusSays) {
  const HttpServer server([](const ServerRequest& request) {
    if (request.target == "/end") return ServerReply{};
    return redirect(std::stoi(request.target.substr(1)), "/end");
  });
  CurlHttp http({});
  struct Case {
    int status;
    std::string method;
    std::string then;
  };
  for (const auto& [status, method, then] : std::vector<Case>{{301, "POST", "GET"},
                                                              {302, "POST", "GET"},
                                                              {303, "POST", "GET"},
                                                              {307, "POST", "POST"},
                                                              {308, "POST", "POST"},
                                                              {302, "PUT", "PUT"},
                                                              {303, "PUT", "GET"},
                                                              {301, "GET", "GET"},
                                                              {303, "HEAD", "HEAD"}}) {
    SCOPED_TRACE(method + std::to_string(status));
    const std::vector<HttpHeader> headers = {{"Content-Type", "text/plain", false},
                                             {"Accept", "text/plain", false},
                                             {"euid", "7", true}};
    std::optional<Bytes> body;
    if (method == "POST" || method == "PUT") body = toBytes("body");
    const std::string url = server.url(std::string("/").append(std::to_string(status)));
    ASSERT_FALSE(exchange(http, {url, method, headers, body}).error);
    const ServerRequest seen = server.requests().back();
    const bool repeated = method == then;
    EXPECT_EQ(seen.method, then);
    EXPECT_EQ(seen.body, repeated && body ? "body" : "");
    EXPECT_EQ(seen.header("Content-Type").has_value(), repeated || method == "GET");
    EXPECT_EQ(seen.header("Content-Length").has_value(), repeated && body);
    EXPECT_EQ(seen.header("Accept"), "text/plain");
    EXPECT_EQ(seen.header("euid"), "7");
  }
}

TEST(CurlHttpRedirectTest, LeavesIdentityHeadersWithTheOriginTheyWereMeantFor) {
  const HttpServer stranger([](const ServerRequest& request) {
    return request.target == "/end" ? ServerReply{} : redirect(307, request.target.substr(1));
  });
  const HttpServer server([&](const ServerRequest& request) {
    if (request.target == "/away") return redirect(307, stranger.url("/end"));
    if (request.target == "/back") {
      return redirect(307, stranger.url("/http://" + *request.header("Host") + "/end"));
    }
    return ServerReply{};
  });
  CurlHttp http({});
  for (const char* path : {"/away", "/back"}) {
    const HttpRequest request{server.url(path),
                              "POST",
                              {{"euid", "7", true}, {"apid", "8", true}, {"Accept", "a/b", false}},
                              toBytes("body")};
    ASSERT_FALSE(exchange(http, request).error);
  }
  const auto first = server.requests();
  ASSERT_EQ(first.size(), 3u);
  EXPECT_EQ(first.at(1).header("euid"), "7");
  EXPECT_FALSE(first.at(2).header("euid")) << "what was left behind does not come back";
  ASSERT_EQ(stranger.requests().size(), 2u);
  for (const ServerRequest& seen : stranger.requests()) {
    EXPECT_FALSE(seen.header("euid"));
    EXPECT_FALSE(seen.header("apid"));
    EXPECT_EQ(seen.header("Accept"), "a/b");
    EXPECT_EQ(seen.body, "body");
  }
}

TEST(CurlHttpRedirectTest, StaysWithHttpsAndWithHttp) {
  testing::TestAuthority authority;
  const HttpServer plain([](const ServerRequest& request) {
    return request.target == "/" ? ServerReply{} : redirect(301, request.target.substr(1));
  });
  const HttpServer secure(
      [&](const ServerRequest& request) {
        return request.target == "/" ? ServerReply{} : redirect(301, plain.url("/"));
      },
      authority.issue("IP:127.0.0.1"));
  CurlHttp http({.authoritiesFile = authority.authoritiesFile()});
  EXPECT_FALSE(get(http, plain.url(std::string("/").append(secure.url("/")))).error);
  EXPECT_EQ(errorCode(get(http, secure.url("/down"))), httpError::kInsecureRedirect);
  EXPECT_EQ(plain.requests().size(), 1u);
  for (const char* target :
       {"ftp://127.0.0.1/a", "file:///etc/passwd", "http://", "http://a:b:c/"}) {
    EXPECT_LT(errorCode(get(http, plain.url(std::string("/").append(target)))), 0) << target;
  }
}

TEST(CurlHttpRedirectTest, EncodesWhatAServerDidNotAndAnswersWithoutAnAddress) {
  const HttpServer server([](const ServerRequest& request) {
    if (request.target == "/blank") return redirect(302, "/a b\xC3\xA9?c d");
    if (request.target == "/none") return ServerReply{.status = 302};
    if (request.target == "/empty") return redirect(302, "");
    return ServerReply{};
  });
  CurlHttp http({});
  const auto answer = get(http, server.url("/blank"));
  ASSERT_TRUE(answer.response);
  EXPECT_EQ(answer.response->url, server.url("/a%20b%c3%a9?c+d"));
  EXPECT_EQ(get(http, server.url("/none")).response->status, 302);
  EXPECT_EQ(get(http, server.url("/empty")).response->status, 302);
}

}  // namespace
}  // namespace zqm
