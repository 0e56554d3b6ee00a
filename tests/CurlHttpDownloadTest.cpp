// Downloads of the transport: what stands in the file, for how long, and under which name.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/HttpClient.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/zqm/HttpServer.h"
#include "zqm/platform/linux/CurlHttp.h"

namespace zqm {
namespace {

using namespace std::chrono_literals;
using testing::errorCode;
using tools::HttpServer;
using tools::Misbehaviour;
using tools::ServerReply;
using tools::ServerRequest;
namespace fs = std::filesystem;

struct Downloaded {
  HttpDownload outcome;
  // While the completion ran.
  std::string content;
  fs::perms permissions = fs::perms::none;
};

class CurlHttpDownloadTest : public ::testing::Test {
 protected:
  Downloaded download(Http& http, const std::string& url) const {
    return testing::waited<Downloaded>([&](const std::function<void(Downloaded)>& done) {
      HttpRequest request;
      request.url = url;
      http.download(request, [done](const HttpDownload& outcome) {
        Downloaded seen{outcome, {}, {}};
        if (!outcome.temporaryPath.empty()) {
          std::ifstream file(outcome.temporaryPath, std::ios::binary);
          seen.content.assign(std::istreambuf_iterator<char>(file), {});
          seen.permissions = fs::status(outcome.temporaryPath).permissions();
        }
        done(std::move(seen));
      });
    });
  }

  // Files go just after their completion has returned.
  bool becomesEmpty() const {
    const auto end = std::chrono::steady_clock::now() + 30s;
    while (!fs::is_empty(directory_.path()) && std::chrono::steady_clock::now() < end) {
      std::this_thread::yield();
    }
    return fs::is_empty(directory_.path());
  }

  const testing::TemporaryDirectory directory_;
  CurlHttpOptions options_{.downloadDirectory = directory_.path()};
};

TEST_F(CurlHttpDownloadTest, StreamsToAFileOfItsOwnThatGoesWithTheCompletion) {
  std::string large(40u << 20, '\0');
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 7 + i / 4096);
  const HttpServer server([&](const ServerRequest& request) -> ServerReply {
    if (request.target == "/large") return {.body = large};
    if (request.target == "/moved")
      return {.status = 302, .headers = {{"Location", "/small"}}, .body = "moved away"};
    if (request.target == "/304") return {.status = 304};
    return {.status = request.target == "/500" ? 500 : 200, .body = "small"};
  });
  CurlHttp http(options_);
  const Downloaded first = download(http, server.url("/large"));
  ASSERT_TRUE(first.outcome.response);
  EXPECT_TRUE(first.content == large);
  EXPECT_EQ(first.permissions, fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(fs::path(first.outcome.temporaryPath).parent_path(), directory_.path());
  EXPECT_EQ(download(http, server.url("/moved")).content, "small");
  const Downloaded notModified = download(http, server.url("/304"));
  EXPECT_EQ(notModified.outcome.response->status, 304);
  EXPECT_EQ(notModified.content, "");
  EXPECT_EQ(download(http, server.url("/500")).outcome.response->status, 500);
  EXPECT_TRUE(becomesEmpty());
}

TEST_F(CurlHttpDownloadTest, EndsWithAnErrorAndWithoutAFile) {
  const HttpServer server([](const ServerRequest& request) {
    return ServerReply{.body = "body",
                       .misbehaviour = request.target == "/reset" ? Misbehaviour::resetWithinReply
                                                                  : Misbehaviour::none};
  });
  CurlHttp http(options_);
  for (const std::string& url :
       {server.url("/reset"), std::string("http://127.0.0.1:9/"), std::string("(null)")}) {
    const Downloaded failed = download(http, url);
    EXPECT_LT(errorCode(failed.outcome), 0);
    EXPECT_FALSE(failed.outcome.response);
    EXPECT_EQ(failed.outcome.temporaryPath, "");
  }
  EXPECT_TRUE(becomesEmpty());
  CurlHttp homeless({.downloadDirectory = directory_.path() / "missing"});
  EXPECT_EQ(errorCode(download(homeless, server.url("/")).outcome), httpError::kUnwritable);
}

TEST_F(CurlHttpDownloadTest, LastsAsLongAsSomethingArrives) {
  const HttpServer server([](const ServerRequest& request) {
    const bool slow = request.target == "/slow";
    return ServerReply{
        .body = std::string(40, 'x'),
        .misbehaviour = slow ? Misbehaviour::slowDrip : Misbehaviour::stallWithinReply,
        .delay = slow ? 20ms : 0ms};
  });
  options_.exchangeLimit = options_.stallLimit = 500ms;
  CurlHttp http(options_);
  EXPECT_EQ(download(http, server.url("/slow")).content, std::string(40, 'x'));
  EXPECT_EQ(errorCode(download(http, server.url("/stalled")).outcome), -28);
}

TEST_F(CurlHttpDownloadTest, SuggestsOneComponentThatNamesAFile) {
  std::string disposition;
  const HttpServer server([&](const ServerRequest&) -> ServerReply {
    if (disposition.empty()) return {};
    return {.headers = {{"Content-Disposition", disposition}}};
  });
  CurlHttp http(options_);
  struct Case {
    std::string disposition;
    std::string path;
    std::optional<std::string> name;
  };
  const std::vector<Case> cases = {
      {"", "/a/report.pdf?x=/y", "report.pdf"},
      {"", "/a/b%20c%C3%A9", "b c\xC3\xA9"},
      {"", "/a%2F..%2Fb", "b"},
      {"", "/a/%2E%2E", std::nullopt},
      {"", "/", std::nullopt},
      {"", "", std::nullopt},
      {"inline", "/url", "url"},
      {"attachment; filename=plain.txt", "/url", "plain.txt"},
      {"attachment; FileName = \"a;b \\\"c\\\".txt\"; size=3", "/url", "a;b \"c\".txt"},
      {"attachment; filename=\"../../etc/passwd\"", "/url", "passwd"},
      {"attachment; filename=\"..\\\\..\\\\x\"", "/url", "x"},
      {"attachment; filename=\"..\"", "/url", "url"},
      {"attachment; filename=\"a/\"", "/url", "url"},
      {"attachment; filename=\"a\tb\"", "/url", "ab"},
      {"attachment; filename=\"caf\xE9\"", "/url", "caf\xC3\xA9"},
      {"attachment; filename=a; filename*=UTF-8'de'%C3%A4%2Fb%00c", "/url", "bc"},
      {"attachment; filename=a; filename*=UTF-8''%FF", "/url", "a"},
      {"attachment; filename=a; filename*=ISO-8859-1''b", "/url", "a"},
      {"attachment; filename*=utf-8", "/url", "url"},
      {"attachment; filename=\"open", "/url", "open"},
      {";;=;\"", "/url", "url"},
  };
  for (const Case& each : cases) {
    disposition = each.disposition;
    const Downloaded seen = download(http, server.url(each.path));
    ASSERT_TRUE(seen.outcome.response) << each.disposition << each.path;
    EXPECT_EQ(seen.outcome.response->suggestedFileName, each.name) << each.disposition << each.path;
  }
}

}  // namespace
}  // namespace zqm
