// The options of a handle, with a reason where the name does not show it.
#include "zqm/platform/curl/CurlHttpSetup.h"

#include <sys/socket.h>

namespace zqm {
namespace {

curl_socket_t openSocket(void*, curlsocktype, curl_sockaddr* address) {
  // Programs that the host starts must not inherit the connection.
  return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

}  // namespace

void CurlHttpSetup::setTransport(const CurlHttpOptions& options) {
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  // A connection carries one request, which HTTP/2 would only delay.
  set(CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  set(CURLOPT_FRESH_CONNECT, 1);
  set(CURLOPT_FORBID_REUSE, 1);
  set(CURLOPT_SSL_SESSIONID_CACHE, 0);
  set(CURLOPT_OPENSOCKETFUNCTION, &openSocket);
  set(CURLOPT_NOSIGNAL, 1);
  // A name server that does not respond would otherwise block the I/O thread beyond every limit.
  set(CURLOPT_QUICK_EXIT, 1);

  set(CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_2);
  set(CURLOPT_SSL_VERIFYPEER, 1);
  set(CURLOPT_SSL_VERIFYHOST, 2);
  // libcurl caches the authorities between requests only if there is a file and no directory.
  set(CURLOPT_CAINFO, options.authoritiesFile.c_str());
  set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));

  // Empty strings keep libcurl from reading the environment.
  set(CURLOPT_PROXY, options.proxy.c_str());
  set(CURLOPT_NOPROXY, "");
  set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1);
}

void CurlHttpSetup::setMethod(const HttpRequest& request) {
  const std::string& method = request.method;
  // Servers may require a length for these methods even without a body.
  const bool needsLength = method == "POST" || method == "PUT" || method == "PATCH";
  if (request.body || needsLength) {
    const std::string_view body = request.body ? asText(*request.body) : std::string_view();
    set(CURLOPT_POST, 1);
    const auto size = static_cast<curl_off_t>(body.size());
    note(curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE_LARGE, size));
    set(CURLOPT_POSTFIELDS, body.empty() ? "" : body.data());
    if (method != "POST") set(CURLOPT_CUSTOMREQUEST, method.c_str());
  } else if (method == "HEAD") {
    // Otherwise libcurl would wait for the announced body.
    set(CURLOPT_NOBODY, 1);
  } else if (method == "GET") {
    set(CURLOPT_HTTPGET, 1);
  } else {
    set(CURLOPT_CUSTOMREQUEST, method.c_str());
  }
}

}  // namespace zqm
