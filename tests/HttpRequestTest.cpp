// Requests, their outcome and the status dispatcher.
#include "zqm/http/ZQMHttpRequest.h"

#include "tests/support/FakePlatform.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/core/user/ZQMUserModel.h"
#include "zqm/model/ZQMDatabase.h"

namespace zqm::testing {
namespace {

class HttpRequestTest : public Fixture {
 protected:
  static void saveUser() {
    ZQMUserModel user;
    user.euid = "e-1";
    user.appId = "app";
    user.started = true;
    ZQMDatabase::saveObject<ZQMUserModel>(user);
  }

  // What the callbacks received since the last time.
  std::string ended() {
    process->drain();
    return std::exchange(received, "");
  }

  std::string received;
  const std::function<void(const Error&)> failure = [this](const Error& error) {
    received += std::to_string(error.code) + error.userInfo["why"].textForm();
  };
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
  answer(FakeHttp::answered(200, ""));
  ZQMHttpRequest::dataTaskWithUrl(
      "http://h/", "GET", std::nullopt, [](const ZQMHttpResult&) { throw 5; },
      [](const Error&) { ADD_FAILURE(); });
  const auto reported = reports();
  ASSERT_EQ(reported.size(), 1U);
  EXPECT_EQ(reported[0]["level"], Value("3"));
}

TEST_F(HttpRequestTest, EveryStatusIsASuccessAndOnlyAMissingAnswerAnError) {
  const auto outcome = [&](const HttpExchange& exchange) {
    answer(exchange);
    const auto success = [&](const ZQMHttpResult& result) {
      received += std::to_string(result.statusCode).append(asText(result.data.value()));
    };
    ZQMHttpRequest::dataTaskWithUrl("http://h/x", "POST", toBytes("{}"), success, failure);
    return ended();
  };
  EXPECT_EQ(outcome(FakeHttp::answered(500, " broken")), "500 broken");
  EXPECT_EQ(outcome(FakeHttp::failed(-28)), "-28(null)");
}

TEST_F(HttpRequestTest, HttpLogShowsTheOutcomeAndLeavesRemoteLogAndWeatherServiceOut) {
  ZQMCore::setDebugMode(true);
  const auto logAfter = [this](const std::string& url) {
    ZQMHttpRequest::dataTaskWithUrl(
        url, "POST", toBytes("{}"), [](const ZQMHttpResult&) {}, failure);
    process->drain();
    const auto content = fakes.files->read("/groups/group.example/log_http.txt");
    return std::string(asText(content.value_or(Bytes())));
  };
  answer(FakeHttp::answered(404, "gone"));
  EXPECT_EQ(logAfter("http://h/graylog/gelf"), "");
  EXPECT_EQ(logAfter("http://h/?q=openweathermap"), "");
  const std::string log = logAfter("http://h/GRAYLOG");
  EXPECT_NE(log.find("POST http://h/GRAYLOG\nCode: 404\nHeader: {\"Accept\":"), log.npos);
  EXPECT_NE(log.find("\nHeader Response: {}\nSuccess Response: gone\n"), log.npos);
  answer(FakeHttp::failed(-7));
  EXPECT_NE(logAfter("http://h/y").find("(RequestException error -7.)\nTime Response: 0s"),
            log.npos);
}

TEST_F(HttpRequestTest, DownloadNamesANewFileInTheTemporaryDirectory) {
  const auto download = [&](const HttpDownload& outcome) {
    fakes.http->downloaded = outcome;
    const auto success = [&](const std::string& destination, const std::string& location) {
      // Without the random identifier.
      received += std::string(destination).erase(11, 36) + " of " + location;
    };
    ZQMHttpRequest::downloadWithUrl("http://h/file", success, failure);
    return ended();
  };
  EXPECT_EQ(download({HttpResponse{200, {}, "", "report.pdf"}, "/some/tmp123", {}}),
            "/temporary/report.pdf of /some/tmp123");
  EXPECT_EQ(download({HttpResponse{200, {}, "", {}}, "/some/tmp123", {}}),
            "/temporary/tmp123 of /some/tmp123");
  EXPECT_EQ(download({HttpResponse{304, {}, "", {}}, "/some/tmp123", {}}), "304(null)");
  EXPECT_EQ(download({std::nullopt, "", Error{"RequestException", -28, {}, ""}}), "-28(null)");
}

TEST_F(HttpRequestTest, AbsoluteAddressIsThatOfTheFinalAnswer) {
  const auto resolve = [&](const HttpExchange& exchange) {
    answer(exchange);
    const auto success = [&](const std::string& url) { received += url; };
    ZQMHttpRequest::getAbsoluteUrl("http://h/", success, failure);
    return ended();
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
}  // namespace zqm::testing
