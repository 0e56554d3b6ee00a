// The interface of an HTTP transport.
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
  // If true, the header is dropped when a redirect leads to another origin (scheme, host, port).
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
  // The URL that was requested last, after redirects.
  std::string url;
  // The file name the server suggests (Content-Disposition, else the end of the URL's path). A
  // single path component, never empty.
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
  // Deleted when the completion returns.
  std::string temporaryPath;
  std::optional<Error> error;
};

// Every exchange is ephemeral: no cookies, cache or credentials outlive it. Only http and https;
// certificates are verified; at most 16 redirects, never from https to http.
class Http {
 public:
  virtual ~Http() = default;

  // Returns at once. Calls `completion` once, on a thread of the transport, where it may block;
  // without memory it may be destroyed uncalled. A request that cannot be sent completes with an
  // error (domain "RequestException", negative code). Limits: 60 seconds, and 16 MiB for the body.
  virtual void send(HttpRequest request, std::function<void(HttpExchange)> completion) = 0;

  // Like `send`, but the body goes to a file, has no size limit, and the exchange fails after 60
  // seconds without progress.
  virtual void download(HttpRequest request, std::function<void(HttpDownload)> completion) = 0;
};

}  // namespace zqm
