// Options of the HTTP transport.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace zqm {

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

}  // namespace zqm
