// One exchange: the request, its redirects and the outcome. Private to the transport.
#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string_view>

#include "zqm/platform/curl/CurlHttp.h"
#include "zqm/platform/curl/CurlHttpReceiver.h"
#include "zqm/platform/curl/CurlHttpUrl.h"

namespace zqm {

class CurlHttpDeadline {
 public:
  using Clock = std::chrono::steady_clock;
  enum class Renewal { never, withProgress };

  CurlHttpDeadline(std::chrono::milliseconds limit, Renewal renewal)
      : limit_(limit), renewal_(renewal), instant_(Clock::now() + limit) {}

  Clock::time_point instant() const { return instant_; }
  void noteProgress() {
    if (renewal_ == Renewal::withProgress) instant_ = Clock::now() + limit_;
  }

 private:
  std::chrono::milliseconds limit_;
  Renewal renewal_;
  Clock::time_point instant_;
};

// Owned by the I/O thread from submission until complete(). There its functions are called inside
// the OpenSslGate.
class CurlHttpTransfer {
 public:
  CurlHttpTransfer(HttpRequest request, std::unique_ptr<CurlHttpReceiver> receiver,
                   std::shared_ptr<const CurlHttpOptions> options, CurlHttpDeadline deadline);
  CurlHttpTransfer(const CurlHttpTransfer&) = delete;
  CurlHttpTransfer& operator=(const CurlHttpTransfer&) = delete;

  // Creates the handle of the first request. Returns false if the transfer has already failed.
  bool start();
  // Handles libcurl's result after the handle was removed from the loop. Returns true if a redirect
  // needs another handle to be added, false if the transfer is finished.
  bool proceed(CURLcode result);
  // Makes `error` the outcome (std::nullopt if there is no memory for one), and returns false.
  bool fail(std::optional<Error> error);
  // Calls the receiver with the outcome. Runs on a completion thread, after the handle was freed.
  void complete();

  CURL* handle() const { return easy_.get(); }
  CurlHttpDeadline::Clock::time_point deadline() const { return deadline_.instant(); }

 private:
  using Easy = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
  using HeaderList = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

  static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self) noexcept;
  static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self) noexcept;

  bool begin();
  bool redirect(long status, const char* target);
  bool setUpHandle();
  bool setUpHeaders();
  void takeHeader(std::string_view line);
  void succeed(long status);

  HttpRequest request_;
  const std::unique_ptr<CurlHttpReceiver> receiver_;
  const std::shared_ptr<const CurlHttpOptions> options_;
  CurlHttpDeadline deadline_;
  CurlHttpUrl url_;
  int redirects_ = 0;

  // The response being received.
  std::vector<HttpHeader> headers_;
  bool headersComplete_ = false;
  std::size_t headerBytes_ = 0;

  std::optional<HttpResponse> response_;
  std::optional<Error> error_;

  // Members are destroyed in reverse order: the handle first, since libcurl uses the other two.
  std::array<char, CURL_ERROR_SIZE> errorText_{};
  HeaderList headerList_{nullptr, &curl_slist_free_all};
  Easy easy_{nullptr, &curl_easy_cleanup};
};

}  // namespace zqm
