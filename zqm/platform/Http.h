// What the library asks of an HTTP transport.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "zqm/base/Error.h"
#include "zqm/base/Value.h"

namespace zqm {

struct HttpHeader {
  std::string name;
  std::string value;
  // Identity headers are not repeated to another origin (scheme, host, port) after a redirect.
  bool identity = false;
};

struct HttpRequest {
  std::string url;
  std::string method = "GET";
  std::vector<HttpHeader> headers;
  std::optional<Bytes> body;
};

struct HttpResponse {
  std::int32_t status = 0;
  std::vector<HttpHeader> headers;
  // The address that answered, after redirects.
  std::string url;
  // What the server would call the content; only a last path component, never empty.
  std::optional<std::string> suggestedFileName;
};

// The outcome of an exchange: a response with its body (possibly empty), or an error.
struct HttpExchange {
  std::optional<HttpResponse> response;
  std::optional<Bytes> body;
  std::optional<Error> error;
};

// The outcome of a download: a response with the body in a temporary file, or an error.
struct HttpDownload {
  std::optional<HttpResponse> response;
  // Removed when the completion returns.
  std::string temporaryPath;
  std::optional<Error> error;
};

// Every exchange is ephemeral: no cookies, cache or credentials outlive it. Only http and https,
// certificates verified, up to 16 redirects, never from https to http.
class Http {
 public:
  virtual ~Http() = default;

  // Returns at once. The completion runs once, on a thread of the transport's own, where it may
  // block; a request that cannot be sent completes with an error (domain "RequestException",
  // negative code). The whole exchange is bound to 60 seconds, a body to 16 MiB.
  virtual void send(HttpRequest request, std::function<void(HttpExchange)> completion) = 0;

  // The same, but of any size, and 60 seconds without progress end it.
  virtual void download(HttpRequest request, std::function<void(HttpDownload)> completion) = 0;
};

}  // namespace zqm
