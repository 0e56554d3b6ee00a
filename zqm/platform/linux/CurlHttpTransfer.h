// One exchange, from its request over its redirects to its outcome. Private to the transport.
#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/platform/linux/CurlHttpOptions.h"
#include "zqm/platform/linux/CurlHttpReceiver.h"
#include "zqm/platform/linux/CurlHttpUrl.h"

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

// Belongs to the I/O thread from its submission until complete(), and is called there inside the
// OpenSslGate.
class CurlHttpTransfer {
 public:
  CurlHttpTransfer(HttpRequest request, std::unique_ptr<CurlHttpReceiver> receiver,
                   std::shared_ptr<const CurlHttpOptions> options, CurlHttpDeadline deadline);
  CurlHttpTransfer(const CurlHttpTransfer&) = delete;
  CurlHttpTransfer& operator=(const CurlHttpTransfer&) = delete;

  // Makes the handle of the first request. False when the outcome is an error already.
  bool start();
  // Takes libcurl's result for the handle, which is with the loop no longer. True when there is
  // another handle, for the redirected request; false when the outcome is known.
  bool proceed(CURLcode result);
  // Makes this error the outcome; none where there is no memory for one.
  void abandon(std::optional<Error> error);
  // Hands the outcome over. On a completion thread; nothing of libcurl is left by then.
  void complete();

  CURL* handle() const { return easy_.get(); }
  CurlHttpDeadline::Clock::time_point deadline() const { return deadline_.instant(); }

 private:
  using Easy = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
  using HeaderList = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

  static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self) noexcept;
  static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self) noexcept;

  bool fail(std::optional<Error> error);
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

  // Of the answer that is arriving.
  std::vector<HttpHeader> headers_;
  bool headersComplete_ = false;
  std::size_t headerBytes_ = 0;

  std::optional<HttpResponse> response_;
  std::optional<Error> error_;

  // The handle goes first: libcurl uses the others until then.
  std::array<char, CURL_ERROR_SIZE> errorText_{};
  HeaderList headerList_{nullptr, &curl_slist_free_all};
  Easy easy_{nullptr, &curl_easy_cleanup};
};

}  // namespace zqm
