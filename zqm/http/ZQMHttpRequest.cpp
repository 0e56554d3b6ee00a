// Builds requests, sends them on the transport and passes the outcome on unchanged.
#include "zqm/http/ZQMHttpRequest.h"

#include <chrono>

#include "zqm/core/ZQMCore.h"
#include "zqm/core/user/ZQMUserModel.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/platform/Process.h"
#include "zqm/util/Encoding.h"
#include "zqm/util/Json.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

// Wraps `finished` for the transport, which calls it on its own thread. Exceptions are reported.
template <class Outcome, class Finished>
std::function<void(Outcome)> completion(Finished finished) {
  return Process::current().bind([finished = std::move(finished)](const Outcome& outcome) {
    guarded([&] { finished(outcome); }, reportAs(kCoreModule, 3));
  });
}

template <class Callback, class... Args>
void call(const Callback& callback, const Args&... args) {
  if (callback) callback(args...);
}

// Reports to the remote log must not cause logged requests themselves. The weather service is one
// that hosts use beside the library.
bool isLogged(std::string_view url) {
  return url.find("graylog") == std::string_view::npos &&
         url.find("openweathermap") == std::string_view::npos;
}

// Returns the JSON object in a body or, if there is none, the details of the parser's exception.
Dictionary responseDetails(const std::optional<Bytes>& body) {
  try {
    return readJsonObject(utf8Text(body).value_or(""));
  } catch (const Exception& exception) {
    return exception.userInfo();
  }
}

}  // namespace

HttpRequest ZQMHttpRequest::setRequestWithData(std::string_view url, std::string_view method,
                                               const std::optional<Bytes>& data) {
  HttpRequest request;
  request.url = url;
  request.method = method;
  request.headers = {{"Accept", "application/json"}, {"Content-Type", "application/json"}};
  const auto user = ZQMDatabase::readRecord<ZQMUserModel>().value_or(ZQMUserModel());
  if (user.euid.text()) request.headers.push_back({"euid", *user.euid.text(), true});
  if (user.appId.text()) request.headers.push_back({"apid", *user.appId.text(), true});
  // Bodies are sent as text, so data that is not UTF-8 is left out.
  if (utf8Text(data)) request.body = data;
  return request;
}

std::shared_ptr<Http> ZQMHttpRequest::getSession() { return platform().http; }

Error ZQMHttpRequest::errorWithRequest(const ZQMHttpResult& result) {
  return {std::string(kRequestExceptionDomain), result.statusCode, {}, ""};
}

void ZQMHttpRequest::dataTaskWithUrl(std::string_view url, std::string_view method,
                                     const std::optional<Bytes>& data,
                                     std::function<void(const ZQMHttpResult&)> success,
                                     std::function<void(const Error&)> error) {
  const Date start = platform().clock->now();
  const HttpRequest request = setRequestWithData(url, method, data);
  const auto finished = [request, start, success = std::move(success),
                         error = std::move(error)](const HttpExchange& exchange) {
    const std::chrono::duration<double> elapsed = platform().clock->now() - start;
    if (isLogged(request.url)) {
      ZQMLogHandler::logHttpRequestToFile(request.url, request, exchange.response, exchange.body,
                                          elapsed.count(), exchange.error);
    }
    if (exchange.error) return call(error, *exchange.error);
    const std::int32_t status = exchange.response ? exchange.response->status : 0;
    call(success, ZQMHttpResult{exchange.body, status});
  };
  getSession()->send(request, completion<HttpExchange>(finished));
}

void ZQMHttpRequest::downloadWithUrl(
    std::string_view url,
    std::function<void(const std::string& destinationPath, const std::string& location)> success,
    std::function<void(const Error&)> error) {
  const auto finished = [success = std::move(success),
                         error = std::move(error)](const HttpDownload& download) {
    const std::int32_t status = download.response ? download.response->status : 0;
    if (status != 200) return call(error, download.error.value_or(errorWithRequest({{}, status})));
    const std::string& location = download.temporaryPath;
    const std::string name =
        download.response->suggestedFileName.value_or(location.substr(location.rfind('/') + 1));
    call(success, platform().directories->temporary() + "/" + makeUuid() + name, location);
  };
  HttpRequest request;
  request.url = url;
  getSession()->download(request, completion<HttpDownload>(finished));
}

void ZQMHttpRequest::getAbsoluteUrl(std::string_view url,
                                    std::function<void(const std::string&)> success,
                                    std::function<void(const Error&)> error) {
  const auto finished = [success = std::move(success),
                         error = std::move(error)](const HttpExchange& exchange) {
    if (exchange.error) return call(error, *exchange.error);
    if (!exchange.response) return;
    const HttpResponse& response = *exchange.response;
    if (exchange.body && response.status == 200) return call(success, response.url);
    Error failure = errorWithRequest({{}, response.status});
    failure.userInfo = responseDetails(exchange.body);
    call(error, failure);
  };
  HttpRequest request;
  request.url = url;
  getSession()->send(request, completion<HttpExchange>(finished));
}

void ZQMHttpRequest::extractResponse(const ZQMHttpResult& result,
                                     const std::function<void()>& success,
                                     const std::function<void(std::int32_t)>& error,
                                     const std::function<void()>& completion) {
  if (result.statusCode == 200) {
    call(success);
  } else {
    if (result.statusCode == 401 || result.statusCode == 403) ZQMCore::restart();
    call(error, result.statusCode);
  }
  call(completion);
}

void ZQMHttpRequest::sendLogError(const Error& error) {
  ZQMLogHandler::logError(error, kGeoBehaviorModule, 3);
}

}  // namespace zqm
