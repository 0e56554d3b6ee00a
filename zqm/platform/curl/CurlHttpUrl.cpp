// Uses libcurl's own parser, so that the URL that is checked is the one that is requested.
#include "zqm/platform/curl/CurlHttpUrl.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>

namespace zqm {
namespace {

using Handle = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string partOf(CURLU* handle, CURLUPart part) {
  char* text = nullptr;
  if (curl_url_get(handle, part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) return {};
  const std::unique_ptr<char, decltype(&curl_free)> owner(text, &curl_free);
  return text;
}

// Converts only ASCII letters, whatever the host's locale.
std::string lowered(std::string text) {
  std::ranges::for_each(text, [](char& c) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  });
  return text;
}

Handle parsed(const std::string& text, unsigned flags) {
  Handle handle(curl_url(), &curl_url_cleanup);
  flags |= CURLU_NON_SUPPORT_SCHEME;
  if (curl_url_set(handle.get(), CURLUPART_URL, text.c_str(), flags) != CURLUE_OK) handle.reset();
  return handle;
}

CurlHttpUrl takenApart(CURLU* handle, std::string text) {
  return {std::move(text), lowered(partOf(handle, CURLUPART_SCHEME)),
          lowered(partOf(handle, CURLUPART_HOST)), partOf(handle, CURLUPART_PORT),
          partOf(handle, CURLUPART_PATH)};
}

}  // namespace

std::optional<CurlHttpUrl> CurlHttpUrl::parse(const std::string& text) {
  const Handle handle = parsed(text, 0);
  if (!handle) return std::nullopt;
  return takenApart(handle.get(), text);
}

std::optional<CurlHttpUrl> CurlHttpUrl::parseRedirect(const std::string& text) {
  const Handle handle = parsed(text, CURLU_URLENCODE | CURLU_ALLOW_SPACE);
  if (!handle) return std::nullopt;
  char* whole = nullptr;
  if (curl_url_get(handle.get(), CURLUPART_URL, &whole, 0) != CURLUE_OK) return std::nullopt;
  const std::unique_ptr<char, decltype(&curl_free)> owner(whole, &curl_free);
  return takenApart(handle.get(), whole);
}

}  // namespace zqm
