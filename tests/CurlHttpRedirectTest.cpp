// Redirects of the transport: how many, where to, and what goes along.
#include <gtest/gtest.h>

#include <array>

#include "tests/support/HttpClient.h"
#include "tests/support/TestAuthority.h"

namespace zqm::testing {
namespace {

ServerReply redirect(int status, const std::string& location) {
  return {.status = status, .headers = {{"Location", location}}, .body = "elsewhere"};
}

// Redirects to what the target says behind its slash, if anything.
ServerReply asTold(const ServerRequest& request) {
  return request.target == "/" ? ServerReply{} : redirect(307, request.target.substr(1));
}

TEST(CurlHttpRedirectTest, FollowsSixteenRedirectsAndNoMore) {
  const HttpServer server([](const ServerRequest& request) {
    const int left = std::stoi(request.target.substr(1));
    return left == 0 ? ServerReply{.body = "here"} : redirect(302, std::to_string(left - 1));
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
  using Case = std::array<std::string, 3>;
  for (const auto& [status, method, then] : std::vector<Case>{{"/301", "POST", "GET"},
                                                              {"/302", "PUT", "PUT"},
                                                              {"/303", "PUT", "GET"},
                                                              {"/303", "HEAD", "HEAD"},
                                                              {"/308", "POST", "POST"}}) {
    SCOPED_TRACE(method + status);
    const auto body = method == "HEAD" ? std::nullopt : std::optional(toBytes("body"));
    const HttpRequest request{
        server.url(status), method, {{"Content-Type", "text/plain"}, {"Accept", "a/b"}}, body};
    ASSERT_FALSE(exchange(http, request).error);
    const ServerRequest seen = server.requests().back();
    const bool repeated = method == then;
    EXPECT_EQ(seen.method, then);
    EXPECT_EQ(seen.body, repeated && body ? "body" : "");
    EXPECT_EQ(seen.header("Content-Type").has_value(), repeated);
    EXPECT_EQ(seen.header("Content-Length").has_value(), repeated && body);
    EXPECT_EQ(seen.header("Accept"), "a/b");
  }
}

TEST(CurlHttpRedirectTest, LeavesIdentityHeadersWithTheOriginTheyWereMeantFor) {
  const HttpServer server(asTold);
  const HttpServer stranger(asTold);
  const std::string way = server.url("/" + server.url("/" + stranger.url("/" + server.url("/"))));
  CurlHttp http({});
  ASSERT_FALSE(exchange(http, {way, "GET", {{"euid", "7", true}, {"Accept", "a/b"}}, {}}).error);
  const auto own = server.requests();
  ASSERT_EQ(own.size(), 3u);
  EXPECT_EQ(own[1].header("euid"), "7");
  EXPECT_FALSE(own[2].header("euid")) << "what was left behind does not come back";
  ASSERT_EQ(stranger.requests().size(), 1u);
  EXPECT_FALSE(stranger.requests()[0].header("euid"));
  EXPECT_EQ(stranger.requests()[0].header("Accept"), "a/b");
}

TEST(CurlHttpRedirectTest, StaysWithHttpsAndWithHttp) {
  TestAuthority authority;
  const HttpServer plain(asTold);
  const HttpServer secure(asTold, authority.issue("IP:127.0.0.1"));
  CurlHttp http({.authoritiesFile = authority.authoritiesFile()});
  EXPECT_FALSE(get(http, plain.url("/" + secure.url("/"))).error);
  EXPECT_EQ(errorCode(get(http, secure.url("/" + plain.url("/")))), httpError::kInsecureRedirect);
  EXPECT_EQ(plain.requests().size(), 1u);
  for (const char* target : {"/ftp://127.0.0.1/a", "/file:///etc/passwd", "/http://a:b:c/"}) {
    EXPECT_LT(errorCode(get(http, plain.url(target))), 0) << target;
  }
}

}  // namespace
}  // namespace zqm::testing
