// Uses libcurl's own parser, so that the URL that is checked is the one that is requested.
#include "zqm/platform/curl/CurlHttpUrl.h"

#include <curl/curl.h>

#include <memory>

namespace zqm {
namespace {

using Handle = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string partOf(const Handle& handle, CURLUPart part, unsigned flags = 0) {
  char* text = nullptr;
  if (curl_url_get(handle.get(), part, &text, flags) != CURLUE_OK) return {};
  const std::unique_ptr<char, decltype(&curl_free)> owner(text, &curl_free);
  return text;
}

// Converts only ASCII letters, whatever the host's locale.
std::string lowered(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

Handle parsed(const std::string& text, unsigned flags) {
  Handle handle(curl_url(), &curl_url_cleanup);
  flags |= CURLU_NON_SUPPORT_SCHEME;
  if (curl_url_set(handle.get(), CURLUPART_URL, text.c_str(), flags) != CURLUE_OK) handle.reset();
  return handle;
}

CurlHttpUrl takenApart(const Handle& handle, std::string text) {
  return {std::move(text), lowered(partOf(handle, CURLUPART_SCHEME)),
          lowered(partOf(handle, CURLUPART_HOST)),
          partOf(handle, CURLUPART_PORT, CURLU_DEFAULT_PORT), partOf(handle, CURLUPART_PATH)};
}

}  // namespace

std::optional<CurlHttpUrl> CurlHttpUrl::parse(const std::string& text) {
  const Handle handle = parsed(text, 0);
  return handle ? std::optional(takenApart(handle, text)) : std::nullopt;
}

std::optional<CurlHttpUrl> CurlHttpUrl::parseRedirect(const std::string& text) {
  const Handle handle = parsed(text, CURLU_URLENCODE | CURLU_ALLOW_SPACE);
  if (!handle) return std::nullopt;
  std::string whole = partOf(handle, CURLUPART_URL);
  return whole.empty() ? std::nullopt : std::optional(takenApart(handle, std::move(whole)));
}

}  // namespace zqm
