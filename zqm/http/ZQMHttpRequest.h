// ZQMHttpRequest: the one place where the library talks HTTP.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Error.h"
#include "zqm/platform/Http.h"

namespace zqm {

// The body of an answer (possibly empty) and its HTTP status, whatever that is.
struct ZQMHttpResult {
  std::optional<Bytes> data;
  std::int32_t statusCode = 0;
};

// Callbacks run on a thread of the transport, once, and may block there; what they throw is
// reported. An empty callback is not called.
class ZQM_EXPORT ZQMHttpRequest {
 public:
  // A JSON request with the identity headers "euid" and "apid" where the user record has them.
  // A body that is not UTF-8 is left out.
  static HttpRequest setRequestWithData(std::string_view url, std::string_view method,
                                        const std::optional<Bytes>& data);

  // The transport: every exchange on it is a session of its own, without cookies, cache or
  // credentials, on any kind of network.
  static std::shared_ptr<Http> getSession();

  // The HTTP status of a result as an error, without details.
  static Error errorWithRequest(const ZQMHttpResult& result);

  // `success` means only that an answer arrived, of any status; `error` that none did.
  static void dataTaskWithUrl(std::string_view url, std::string_view method,
                              const std::optional<Bytes>& data,
                              std::function<void(const ZQMHttpResult&)> success,
                              std::function<void(const Error&)> error);

  // Calls `success`, for status 200, with a destination path that nothing stands at and the path
  // of the temporary file, which the callback moves or copies: it is removed afterwards.
  static void downloadWithUrl(
      std::string_view url,
      std::function<void(const std::string& destinationPath, const std::string& location)> success,
      std::function<void(const Error&)> error);

  // Calls `success`, for status 200, with the address that answers `url` after redirects. The
  // error of another status has the answer's JSON object as its details.
  static void getAbsoluteUrl(std::string_view url, std::function<void(const std::string&)> success,
                             std::function<void(const Error&)> error);

  // Calls `success` for status 200, otherwise `error` with the status, then always `completion`.
  // 401 and 403 first forget the registration.
  static void extractResponse(const ZQMHttpResult& result, const std::function<void()>& success,
                              const std::function<void(std::int32_t)>& error,
                              const std::function<void()>& completion);

  static void sendLogError(const Error& error);
};

}  // namespace zqm
