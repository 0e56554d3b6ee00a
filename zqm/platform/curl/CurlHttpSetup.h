// Sets the options of a libcurl handle. Private to the transport.
#pragma once

#include <curl/curl.h>

#include "zqm/platform/curl/CurlHttp.h"

namespace zqm {

// Sets options and remembers the first failure.
class CurlHttpSetup {
 public:
  explicit CurlHttpSetup(CURL* handle) : handle_(handle) {}

  // Sets the options common to all requests: protocols, single use, verification and proxy.
  void setTransport(const CurlHttpOptions& options);
  // Sets method and body. The body must outlive the handle.
  void setMethod(const HttpRequest& request);

  void set(CURLoption option, long value) { note(curl_easy_setopt(handle_, option, value)); }
  template <class T>
  void set(CURLoption option, T* value) {
    note(curl_easy_setopt(handle_, option, value));
  }

  CURLcode result() const { return result_; }

 private:
  void note(CURLcode code) {
    if (result_ == CURLE_OK) result_ = code;
  }

  CURL* const handle_;
  CURLcode result_ = CURLE_OK;
};

}  // namespace zqm
