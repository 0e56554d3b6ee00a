// Parses Content-Disposition and the last path component, trusting neither.
#include "zqm/platform/curl/CurlHttpFileName.h"

#include <curl/curl.h>

#include <memory>

#include "zqm/platform/curl/CurlHttpError.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

constexpr std::string_view kExtendedPrefix = "UTF-8'";

struct Parameter {
  std::string name;
  std::string value;
};

// Removes quotes and resolves their escapes.
std::vector<Parameter> parametersOf(const std::string& header) {
  std::vector<Parameter> parameters(1);
  bool inValue = false;
  bool quoted = false;
  bool escaped = false;
  for (const char c : header) {
    Parameter& current = parameters.back();
    if (quoted && !escaped && c == '\\') {
      escaped = true;
    } else if (!escaped && c == '"') {
      quoted = !quoted;
    } else if (!quoted && c == ';') {
      parameters.emplace_back();
      inValue = false;
    } else if (!quoted && !inValue && c == '=') {
      inValue = true;
    } else {
      (inValue ? current.value : current.name) += c;
      escaped = false;
    }
  }
  for (auto& [name, value] : parameters) {
    name = std::string(trimmed(name));
    value = std::string(trimmed(value));
  }
  return parameters;
}

std::string percentDecoded(const std::string& text) {
  int length = 0;
  const std::unique_ptr<char, decltype(&curl_free)> decoded(
      curl_easy_unescape(nullptr, text.c_str(), static_cast<int>(text.size()), &length),
      &curl_free);
  return decoded ? std::string(decoded.get(), static_cast<std::size_t>(length)) : std::string();
}

// Decodes charset'language'percent-encoded. Returns std::nullopt for charsets other than UTF-8.
std::optional<std::string> extendedValue(const std::string& value) {
  if (!curl_strnequal(value.c_str(), kExtendedPrefix.data(), kExtendedPrefix.size())) return {};
  const auto quote = value.find('\'', kExtendedPrefix.size());
  if (quote == std::string::npos) return {};
  std::string decoded = percentDecoded(value.substr(quote + 1));
  if (!isValidUtf8(decoded)) return {};
  return decoded;
}

std::optional<std::string> safeName(const std::string& text) {
  std::string name;
  for (const char c : toUtf8(text)) {
    if (c == '/' || c == '\\') {
      name.clear();
    } else if (static_cast<unsigned char>(c) >= ' ' && c != '\x7F') {
      name += c;
    }
  }
  name = std::string(trimmed(name));
  if (name.empty() || name == "." || name == "..") return std::nullopt;
  return name;
}

std::optional<std::string> dispositionName(const std::string& header) {
  std::optional<std::string> plain;
  for (const Parameter& each : parametersOf(header)) {
    if (curl_strequal(each.name.c_str(), "filename*")) {
      if (const auto extended = extendedValue(each.value)) {
        if (auto name = safeName(*extended)) return name;
      }
    } else if (!plain && curl_strequal(each.name.c_str(), "filename")) {
      plain = safeName(each.value);
    }
  }
  return plain;
}

}  // namespace

std::optional<std::string> suggestedFileName(const std::vector<HttpHeader>& headers,
                                             const std::string& path) {
  for (const HttpHeader& header : headers) {
    if (!curl_strequal(header.name.c_str(), "Content-Disposition")) continue;
    if (auto name = dispositionName(header.value)) return name;
  }
  return safeName(percentDecoded(path.substr(path.rfind('/') + 1)));
}

}  // namespace zqm
