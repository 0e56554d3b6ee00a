// Downloads of the transport: what stands in the file, for how long, and under which name.
#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include "tests/support/Becomes.h"
#include "tests/support/HttpClient.h"
#include "tests/support/Tree.h"

namespace zqm::testing {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

struct Downloaded {
  HttpDownload outcome;
  // While the completion ran.
  std::string content;
};

class CurlHttpDownloadTest : public ::testing::Test {
 protected:
  Downloaded download(const std::string& url) const {
    CurlHttp http(options_);
    return waited<Downloaded>([&](const std::function<void(Downloaded)>& done) {
      http.download(getRequest(url), [done](const HttpDownload& outcome) {
        const std::string& path = outcome.temporaryPath;
        if (!path.empty()) {
          EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600));
        }
        done({outcome, contentOf(path)});
      });
    });
  }

  // Files go just after their completion has returned.
  bool becomesEmpty() const {
    return becomes([this] { return fs::is_empty(tree_.path()); });
  }

  Tree tree_;
  CurlHttpOptions options_{.downloadDirectory = tree_.root()};
};

TEST_F(CurlHttpDownloadTest, StreamsToAFileOfItsOwnThatGoesWithTheCompletion) {
  std::string large(40u << 20, '\0');
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 7 + i / 4096);
  const HttpServer server([&](const ServerRequest& request) -> ServerReply {
    if (request.target == "/large") return {.body = large};
    if (request.target == "/304") return {.status = 304};
    if (request.target == "/small") return {.body = "small"};
    return {.status = 302, .headers = {{"Location", "/small"}}, .body = "moved away"};
  });
  const Downloaded first = download(server.url("/large"));
  EXPECT_TRUE(first.content == large);
  EXPECT_EQ(fs::path(first.outcome.temporaryPath).parent_path(), tree_.path());
  EXPECT_EQ(download(server.url("/moved")).content, "small");
  EXPECT_EQ(download(server.url("/304")).outcome.response.value().status, 304);
  EXPECT_TRUE(becomesEmpty());
}

TEST_F(CurlHttpDownloadTest, EndsWithAnErrorAndWithoutAFile) {
  const HttpServer server([](const ServerRequest&) {
    return ServerReply{.body = "body", .misbehaviour = Misbehaviour::resetWithinReply};
  });
  for (const std::string& url : {server.url("/"), std::string("(null)")}) {
    const Downloaded failed = download(url);
    EXPECT_LT(errorCode(failed.outcome), 0);
    EXPECT_FALSE(failed.outcome.response);
    EXPECT_EQ(failed.outcome.temporaryPath, "");
  }
  EXPECT_TRUE(becomesEmpty());
  options_.downloadDirectory = tree_ / "missing";
  EXPECT_EQ(errorCode(download(server.url("/")).outcome), httpError::kUnwritable);
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
  EXPECT_EQ(download(server.url("/slow")).content, std::string(40, 'x'));
  EXPECT_EQ(errorCode(download(server.url("/stalled")).outcome), -28);
}

TEST_F(CurlHttpDownloadTest, SuggestsOneComponentThatNamesAFile) {
  using Case = std::tuple<std::string, std::string, std::optional<std::string>>;
  for (const auto& [disposition, path, name] : std::vector<Case>{
           {"", "/a/b%20c%C3%A9?x=/y", "b c\xC3\xA9"},
           {"", "/a%2F..%2Fb", "b"},
           {"attachment; filename=\"..\"", "/a/%2E%2E", std::nullopt},
           {"attachment; FileName = \"a;b \\\"c\\\".txt\"; size=3", "/url", "a;b \"c\".txt"},
           {"attachment; filename=\"../../etc/passwd\"", "/url", "passwd"},
           {"attachment; filename=\"..\\\\..\\\\x\"", "/url", "x"},
           {"attachment; filename=\"caf\xE9\"", "/url", "caf\xC3\xA9"},
           {"attachment; filename=a; filename*=UTF-8'de'%C3%A4%2Fb%00c", "/url", "bc"},
           {"attachment; filename=a; filename*=UTF-8''%FF", "/url", "a"},
           {"attachment; filename*=utf-8", "/url", "url"},
           {"attachment; filename=\"open", "/url", "open"},
       }) {
    const HttpServer server([&value = disposition](const ServerRequest&) {
      return ServerReply{.headers = {{"Content-Disposition", value}}};
    });
    const Downloaded seen = download(server.url(path));
    ASSERT_TRUE(seen.outcome.response) << disposition << path;
    EXPECT_EQ(seen.outcome.response->suggestedFileName, name) << disposition << path;
  }
}

}  // namespace
}  // namespace zqm::testing
