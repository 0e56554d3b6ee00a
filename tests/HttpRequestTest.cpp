// Requests, their outcome and the status dispatcher.
#include "zqm/http/ZQMHttpRequest.h"

#include "tests/support/FakePlatform.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/core/ZQMUserModel.h"
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

  // What the callbacks received.
  std::string exchangeWith(const std::string& url) {
    std::string received;
    ZQMHttpRequest::dataTaskWithUrl(
        url, "POST", toBytes("{}"),
        [&](const ZQMHttpResult& result) {
          received += std::to_string(result.statusCode).append(asText(result.data.value()));
        },
        [&](const Error& error) { received += std::to_string(error.code); });
    process->drain();
    return received;
  }
};

TEST_F(HttpRequestTest, IdentityHeadersAreSentOnlyWhereTheUserRecordHasThem) {
  HttpRequest request = ZQMHttpRequest::setRequestWithData("http://h/", "PUT", toBytes("é"));
  EXPECT_EQ(request.body, toBytes("é"));
  EXPECT_EQ(request.headers.size(), 2U);
  saveUser();
  request = ZQMHttpRequest::setRequestWithData("http://h/", "POST", Bytes{'a', 0xff});
  EXPECT_EQ(request.body, std::nullopt) << "what is not UTF-8 is no body";
  std::string headers;
  for (const auto& [name, value, identity] : request.headers) {
    headers += name + ":" + value + (identity ? "! " : " ");
  }
  EXPECT_EQ(headers, "Accept:application/json Content-Type:application/json euid:e-1! apid:app! ");
}

TEST_F(HttpRequestTest, ExceptionOfACallbackIsReportedAtLevelThreeAndNothingElseIsCalled) {
  answerWith(FakeHttp::answered(200, ""));
  ZQMHttpRequest::dataTaskWithUrl(
      "http://h/", "GET", std::nullopt, [](const ZQMHttpResult&) { throw 5; },
      [](const Error&) { ADD_FAILURE(); });
  const auto reported = reports();
  ASSERT_EQ(reported.size(), 1U);
  EXPECT_EQ(reported[0]["level"], Value("3"));
}

TEST_F(HttpRequestTest, EveryStatusIsASuccessAndOnlyAMissingAnswerAnError) {
  answerWith(FakeHttp::answered(500, " broken"));
  EXPECT_EQ(exchangeWith("http://h/x"), "500 broken");
  answerWith(FakeHttp::failed(-28));
  EXPECT_EQ(exchangeWith("http://h/x"), "-28");
}

TEST_F(HttpRequestTest, HttpLogShowsTheOutcomeAndLeavesRemoteLogAndWeatherServiceOut) {
  ZQMCore::setDebugMode(true);
  const auto logAfter = [this](const std::string& url) {
    exchangeWith(url);
    const auto content = fakes.files->read("/groups/group.example/log_http.txt");
    return std::string(asText(content.value_or(Bytes())));
  };
  answerWith(FakeHttp::answered(404, "gone"));
  EXPECT_EQ(logAfter("http://h/graylog/gelf"), "");
  EXPECT_EQ(logAfter("http://h/?q=openweathermap"), "");
  const std::string log = logAfter("http://h/GRAYLOG");
  EXPECT_NE(log.find("POST http://h/GRAYLOG\nCode: 404\nHeader: {\"Accept\":"), log.npos);
  EXPECT_NE(log.find("\nHeader Response: {}\nSuccess Response: gone\n"), log.npos);
  answerWith(FakeHttp::failed(-7));
  EXPECT_NE(logAfter("http://h/y").find("(RequestException error -7.)\nTime Response: 0s"),
            log.npos);
}

TEST_F(HttpRequestTest, DownloadNamesANewFileInTheTemporaryDirectory) {
  const auto download = [&](const HttpDownload& outcome) {
    fakes.http->downloaded = outcome;
    std::string received;
    ZQMHttpRequest::downloadWithUrl(
        "http://h/file",
        [&](const std::string& destination, const std::string& location) {
          // Without the random identifier.
          received = std::string(destination).erase(11, 36) + " of " + location;
        },
        [&](const Error& error) { received = std::to_string(error.code); });
    process->drain();
    return received;
  };
  EXPECT_EQ(download({HttpResponse{200, {}, "", "report.pdf"}, "/some/tmp123", {}}),
            "/temporary/report.pdf of /some/tmp123");
  EXPECT_EQ(download({HttpResponse{200, {}, "", {}}, "/some/tmp123", {}}),
            "/temporary/tmp123 of /some/tmp123");
  EXPECT_EQ(download({HttpResponse{304, {}, "", {}}, "/some/tmp123", {}}), "304");
  EXPECT_EQ(download({std::nullopt, "", Error{"RequestException", -28, {}, ""}}), "-28");
}

TEST_F(HttpRequestTest, AbsoluteAddressIsThatOfTheFinalAnswer) {
  const auto resolve = [&](const HttpExchange& exchange) {
    answerWith(exchange);
    std::string outcome;
    ZQMHttpRequest::getAbsoluteUrl(
        "http://h/", [&](const std::string& url) { outcome = url; },
        [&](const Error& error) {
          outcome = std::to_string(error.code) + error.userInfo["why"].textForm();
        });
    process->drain();
    return outcome;
  };
  EXPECT_EQ(resolve({HttpResponse{200, {}, "http://final/", {}}, Bytes{}, {}}), "http://final/");
  EXPECT_TRUE(fakes.http->requests().back().headers.empty());
  EXPECT_EQ(resolve(FakeHttp::failed(-6)), "-6(null)");
  EXPECT_EQ(resolve(FakeHttp::answered(500, "no json")), "500(null)");
  EXPECT_EQ(resolve(FakeHttp::answered(404, R"({"why":"gone"})")), "404gone");
}

TEST_F(HttpRequestTest, UnauthorisedAnswerForgetsTheRegistrationBeforeTheErrorCallback) {
  saveUser();
  const auto extract = [](std::int32_t status) {
    std::string order;
    ZQMHttpRequest::extractResponse(
        {Bytes(), status}, [&] { order += "success "; },
        [&](std::int32_t) { order += ZQMCore::isStarted() ? "started " : "reset "; },
        [&] { order += "completed"; });
    return order;
  };
  EXPECT_EQ(extract(200), "success completed");
  EXPECT_EQ(extract(404), "started completed");
  EXPECT_EQ(extract(403), "reset completed");
  process->drain();
}

}  // namespace
}  // namespace zqm
