// Requests, their outcome and the status dispatcher.
#include "zqm/http/ZQMHttpRequest.h"

#include <future>

#include "tests/support/FakePlatform.h"
#include "zqm/base/Exception.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/core/ZQMUserModel.h"
#include "zqm/core/ZQMUserRule.h"
#include "zqm/model/ZQMDatabase.h"

namespace zqm {
namespace {

using zqm::testing::FakeHttp;

class HttpRequestTest : public zqm::testing::Fixture {
 protected:
  static void saveUser() {
    ZQMUserModel user;
    user.euid = "e-1";
    user.appId = "app";
    user.started = true;
    ZQMDatabase::saveObject<ZQMUserModel>(user);
  }

  void answerWith(HttpExchange exchange) {
    fakes.http->answer = [exchange](const HttpRequest&) { return exchange; };
  }

  // What the callbacks received, in order.
  std::vector<std::string> exchangeWith(const std::string& url) {
    std::vector<std::string> received;
    ZQMHttpRequest::dataTaskWithUrl(
        url, "POST", toBytes("{}"),
        [&](const ZQMHttpResult& result) {
          received.push_back(
              std::to_string(result.statusCode).append(" ").append(asText(result.data.value())));
        },
        [&](const Error& error) { received.push_back(std::to_string(error.code)); });
    process->drain();
    return received;
  }

  std::string httpLog() {
    const auto content = fakes.files->read("/groups/group.example/log_http.txt");
    return content ? std::string(asText(*content)) : "";
  }
};

TEST_F(HttpRequestTest, IdentityHeadersAreSentOnlyWhereTheUserRecordHasThem) {
  HttpRequest request = ZQMHttpRequest::setRequestWithData("http://h/", "PUT", toBytes("é"));
  EXPECT_EQ(request.method, "PUT");
  EXPECT_EQ(request.body, toBytes("é"));
  ASSERT_EQ(request.headers.size(), 2U);
  EXPECT_EQ(request.headers[0].name + request.headers[1].name, "AcceptContent-Type");
  saveUser();
  request = ZQMHttpRequest::setRequestWithData("http://h/", "POST", std::nullopt);
  ASSERT_EQ(request.headers.size(), 4U);
  EXPECT_EQ(request.headers[2].name + request.headers[2].value, "euide-1");
  EXPECT_EQ(request.headers[3].name + request.headers[3].value, "apidapp");
  EXPECT_TRUE(request.headers[2].identity && request.headers[3].identity);
  EXPECT_FALSE(request.body.has_value());
}

TEST_F(HttpRequestTest, BodyThatIsNotUtf8IsNoBody) {
  EXPECT_FALSE(
      ZQMHttpRequest::setRequestWithData("http://h/", "POST", Bytes{'a', 0xff}).body.has_value());
}

TEST_F(HttpRequestTest, EveryStatusIsASuccessAndOnlyAMissingAnswerAnError) {
  answerWith(FakeHttp::answered(500, "broken"));
  EXPECT_EQ(exchangeWith("http://h/x"), std::vector<std::string>{"500 broken"});
  answerWith(FakeHttp::failed(-28));
  EXPECT_EQ(exchangeWith("http://h/x"), std::vector<std::string>{"-28"});
}

TEST_F(HttpRequestTest, ExceptionOfACallbackIsReportedAtLevelThreeAndNothingElseIsCalled) {
  answerWith(FakeHttp::answered(200, ""));
  int errors = 0;
  ZQMHttpRequest::dataTaskWithUrl(
      "http://h/", "GET", std::nullopt, [](const ZQMHttpResult&) { throw 5; },
      [&](const Error&) { ++errors; });
  process->drain();
  EXPECT_EQ(errors, 0);
  const auto reports = fakes.http->requestsTo("graylog");
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_NE(asText(reports[0].body.value()).find(R"("level":"3")"), std::string::npos);
}

TEST_F(HttpRequestTest, HttpLogLeavesRemoteLogAndWeatherServiceOut) {
  ZQMCore::setDebugMode(true);
  answerWith(FakeHttp::answered(404, "gone"));
  exchangeWith("http://h/graylog/gelf");
  exchangeWith("http://h/?q=openweathermap");
  EXPECT_EQ(httpLog(), "");
  exchangeWith("http://h/GRAYLOG");
  EXPECT_NE(httpLog().find("POST http://h/GRAYLOG\nCode: 404\nHeader: {\"Accept\":"),
            std::string::npos);
  EXPECT_NE(httpLog().find("\nRequest: {}\nHeader Response: {}\nSuccess Response: gone\n"),
            std::string::npos);
  answerWith(FakeHttp::failed(-7));
  exchangeWith("http://h/y");
  EXPECT_NE(httpLog().find("Error Response: The operation couldn't be completed. "
                           "(RequestException error -7.)\nTime Response: 0s"),
            std::string::npos);
}

TEST_F(HttpRequestTest, DownloadNamesANewFileInTheTemporaryDirectory) {
  fakes.http->downloaded = {HttpResponse{200, {}, "", "report.pdf"}, "/somewhere/tmp123", {}};
  std::vector<std::string> received;
  const auto download = [&] {
    ZQMHttpRequest::downloadWithUrl(
        "http://h/file",
        [&](const std::string& destination, const std::string& location) {
          received = {destination, location};
        },
        [&](const Error& error) {
          received = {error.domain, std::to_string(error.code)};
        });
    process->drain();
  };
  download();
  EXPECT_EQ(received[0].substr(0, 11), "/temporary/");
  EXPECT_EQ(received[0].size(), 11U + 36U + 10U);
  EXPECT_EQ(received[0].substr(47), "report.pdf");
  EXPECT_EQ(received[1], "/somewhere/tmp123");
  fakes.http->downloaded.response->suggestedFileName.reset();
  download();
  EXPECT_EQ(received[0].substr(47), "tmp123");
  fakes.http->downloaded.response->status = 304;
  download();
  EXPECT_EQ(received, (std::vector<std::string>{"RequestException", "304"}));
  fakes.http->downloaded = {std::nullopt, "", Error{"RequestException", -28, {}, ""}};
  download();
  EXPECT_EQ(received, (std::vector<std::string>{"RequestException", "-28"}));
}

TEST_F(HttpRequestTest, AbsoluteAddressIsThatOfTheFinalAnswer) {
  std::string found;
  Error failure;
  const auto resolve = [&](HttpExchange exchange) {
    answerWith(std::move(exchange));
    ZQMHttpRequest::getAbsoluteUrl(
        "http://h/", [&](const std::string& url) { found = url; },
        [&](const Error& error) { failure = error; });
    process->drain();
  };
  resolve({HttpResponse{200, {}, "http://final/", std::nullopt}, Bytes{}, std::nullopt});
  EXPECT_EQ(found, "http://final/");
  EXPECT_TRUE(fakes.http->requests().back().headers.empty());
  resolve(FakeHttp::answered(404, R"({"why":"gone"})"));
  EXPECT_EQ(failure.code, 404);
  EXPECT_EQ(failure.userInfo, (Dictionary{{"why", "gone"}}));
  resolve(FakeHttp::answered(500, "no json"));
  EXPECT_TRUE(failure.userInfo.contains("NSUnderlyingError"));
  resolve(FakeHttp::failed(-6));
  EXPECT_EQ(failure.code, -6);
}

TEST_F(HttpRequestTest, UnauthorisedAnswerForgetsTheRegistrationBeforeTheErrorCallback) {
  saveUser();
  std::string order;
  const auto extract = [&](std::int32_t status) {
    order.clear();
    ZQMHttpRequest::extractResponse(
        {Bytes(), status}, [&] { order += "success "; },
        [&](std::int32_t code) {
          order += ZQMCore::isStarted() ? "started " : "reset ";
          order += std::to_string(code) + " ";
        },
        [&] { order += "completed"; });
  };
  extract(200);
  EXPECT_EQ(order, "success completed");
  extract(404);
  EXPECT_EQ(order, "started 404 completed");
  extract(403);
  EXPECT_EQ(order, "reset 403 completed");
  process->drain();
}

}  // namespace
}  // namespace zqm
