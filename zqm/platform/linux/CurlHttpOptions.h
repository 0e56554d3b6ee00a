// What can be settled about the HTTP transport.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace zqm {

struct CurlHttpOptions {
  // Certificate authorities, PEM.
  std::string authoritiesFile = "/etc/ssl/certs/ca-certificates.crt";
  // The url of a proxy for every request; none when empty. The environment's are never used.
  std::string proxy = {};
  std::string downloadDirectory = "/tmp";
  // Bounds the whole of an exchange, redirects included.
  std::chrono::milliseconds exchangeLimit{60'000};
  // Bounds the time in which nothing of a download arrives.
  std::chrono::milliseconds stallLimit{60'000};
  // Of an exchange, in bytes.
  std::uint64_t bodyLimit = 16u << 20;
  // After this time without a request the I/O thread goes, and comes back with the next one.
  std::chrono::milliseconds idleTime{5'000};
};

}  // namespace zqm
