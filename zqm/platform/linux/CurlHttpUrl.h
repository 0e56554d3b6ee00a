// Addresses as the transport needs them taken apart. Private to the transport.
#pragma once

#include <optional>
#include <string>

namespace zqm {

struct CurlHttpUrl {
  std::string text;
  // Lower case, like the host.
  std::string scheme;
  std::string host;
  // The scheme's default one included.
  std::string port;
  // Percent-encoded.
  std::string path;

  // None for a text that is no absolute url; a scheme is never guessed.
  static std::optional<CurlHttpUrl> parse(const std::string& text);
  // The same for where a server redirects to; what must be percent-encoded is.
  static std::optional<CurlHttpUrl> parseRedirect(const std::string& text);

  bool isHttp() const { return scheme == "http" || scheme == "https"; }
  bool hasOriginOf(const CurlHttpUrl& other) const {
    return scheme == other.scheme && host == other.host && port == other.port;
  }
};

}  // namespace zqm
