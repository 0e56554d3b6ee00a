// The HTTP transport, based on libcurl, and its options.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "zqm/platform/Http.h"
#include "zqm/platform/curl/CurlHttpError.h"

namespace zqm {

class CurlHttpDeadline;
class CurlHttpLoop;

struct CurlHttpOptions {
  // A file of certificate authorities, PEM.
  std::string authoritiesFile = "/etc/ssl/certs/ca-certificates.crt";
  // The URL of a proxy for all requests; empty for none. The environment's proxies are never used.
  std::string proxy = {};
  std::string downloadDirectory = "/tmp";
  // The limit of a whole exchange, redirects included.
  std::chrono::milliseconds exchangeLimit{60'000};
  // The longest time in which no data of a download arrives.
  std::chrono::milliseconds stallLimit{60'000};
  // The largest body of an exchange, in bytes.
  std::uint64_t bodyLimit = 16u << 20;
  // The I/O thread exits after this time without a request; the next request starts it again.
  std::chrono::milliseconds idleTime{5'000};
};

// Does the I/O of all requests on one thread. The destructor waits for nothing: exchanges in
// progress complete with an error.
class CurlHttp : public Http {
 public:
  explicit CurlHttp(CurlHttpOptions options);
  ~CurlHttp() override;
  CurlHttp(const CurlHttp&) = delete;
  CurlHttp& operator=(const CurlHttp&) = delete;

  void send(HttpRequest request, std::function<void(HttpExchange)> completion) override;
  void download(HttpRequest request, std::function<void(HttpDownload)> completion) override;

 private:
  template <class Receiver, class Place, class Completion>
  void submit(HttpRequest request, const Place& place, Completion completion,
              CurlHttpDeadline deadline);

  const std::shared_ptr<const CurlHttpOptions> options_;
  const std::shared_ptr<CurlHttpLoop> loop_;
};

}  // namespace zqm
