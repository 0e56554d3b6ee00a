// ZQMHttpRequest: all HTTP requests of the library.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Error.h"
#include "zqm/platform/Http.h"

namespace zqm {

// The body of a response (possibly empty) and its HTTP status, whatever that is.
struct ZQMHttpResult {
  std::optional<Bytes> data;
  std::int32_t statusCode = 0;
};

// Callbacks run once, on a thread of the transport, and may block. Their exceptions are reported.
// Empty callbacks are ignored.
class ZQM_EXPORT ZQMHttpRequest {
 public:
  // Makes a JSON request with the identity headers "euid" and "apid", if the user record has them.
  // A body that is not UTF-8 is left out.
  static HttpRequest setRequestWithData(std::string_view url, std::string_view method,
                                        const std::optional<Bytes>& data);

  // Returns the transport. Every exchange on it is a session of its own, without cookies, cache or
  // credentials, on any kind of network.
  static std::shared_ptr<Http> getSession();

  // Returns an Error with the result's HTTP status as its code, without details.
  static Error errorWithRequest(const ZQMHttpResult& result);

  // Calls `success` for every HTTP response, whatever its status, and `error` if there was none.
  static void dataTaskWithUrl(std::string_view url, std::string_view method,
                              const std::optional<Bytes>& data,
                              std::function<void(const ZQMHttpResult&)> success,
                              std::function<void(const Error&)> error);

  // On status 200 calls `success(destinationPath, location)`. `location` is the downloaded file,
  // deleted when the callback returns; move or copy it to `destinationPath`, an unused path.
  static void downloadWithUrl(
      std::string_view url,
      std::function<void(const std::string& destinationPath, const std::string& location)> success,
      std::function<void(const Error&)> error);

  // On status 200 calls `success` with the URL at the end of the redirects. For another status, the
  // error's `userInfo` is the JSON object in the body.
  static void getAbsoluteUrl(std::string_view url, std::function<void(const std::string&)> success,
                             std::function<void(const Error&)> error);

  // On status 200 calls `success`, otherwise `error` with the status; then always `completion`. 401
  // and 403 first reset the registration.
  static void extractResponse(const ZQMHttpResult& result, const std::function<void()>& success,
                              const std::function<void(std::int32_t)>& error,
                              const std::function<void()>& completion);

  static void sendLogError(const Error& error);
};

}  // namespace zqm
