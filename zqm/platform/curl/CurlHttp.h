// The HTTP transport for Linux, based on libcurl.
#pragma once

#include <memory>

#include "zqm/platform/Http.h"
#include "zqm/platform/curl/CurlHttpError.h"
#include "zqm/platform/curl/CurlHttpOptions.h"

namespace zqm {

class CurlHttpDeadline;
class CurlHttpLoop;

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
