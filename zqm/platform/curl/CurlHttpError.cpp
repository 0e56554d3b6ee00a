// Errors of the transport, and the server's texts.
#include "zqm/platform/curl/CurlHttpError.h"

#include <curl/curl.h>

#include "zqm/util/Strings.h"

namespace zqm {

Error transportError(std::int64_t code, std::string_view text) {
  Error error;
  error.domain = kRequestExceptionDomain;
  error.code = code;
  error.userInfo.set(kLocalizedDescriptionKey, text);
  return error;
}

Error curlError(int code, std::string_view text) {
  if (text.empty()) text = curl_easy_strerror(static_cast<CURLcode>(code));
  return transportError(-static_cast<std::int64_t>(code), toUtf8(text));
}

std::string toUtf8(std::string_view text) {
  if (isValidUtf8(text)) return std::string(text);
  std::string converted;
  for (const unsigned char byte : text) {
    if (byte >= 0x80) converted += static_cast<char>(0xC0 | byte >> 6);
    converted += static_cast<char>(byte < 0x80 ? byte : 0x80 | (byte & 0x3F));
  }
  return converted;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const auto first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace zqm
