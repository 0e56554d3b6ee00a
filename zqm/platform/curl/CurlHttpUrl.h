// URLs, split into the components that the transport needs. Private to the transport.
#pragma once

#include <optional>
#include <string>

namespace zqm {

struct CurlHttpUrl {
  std::string text;
  // Lower case, like the host.
  std::string scheme;
  std::string host;
  // Never missing where the scheme has a default port.
  std::string port;
  // Percent-encoded.
  std::string path;

  // Returns std::nullopt if `text` is not an absolute URL; a missing scheme is never guessed.
  static std::optional<CurlHttpUrl> parse(const std::string& text);
  // Like `parse`, for the target of a redirect: characters that need it are percent-encoded.
  static std::optional<CurlHttpUrl> parseRedirect(const std::string& text);

  bool isHttp() const { return scheme == "http" || scheme == "https"; }
  bool hasOriginOf(const CurlHttpUrl& other) const {
    return scheme == other.scheme && host == other.host && port == other.port;
  }
};

}  // namespace zqm
