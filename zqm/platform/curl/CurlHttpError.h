// Errors of the HTTP transport, and functions for a server's texts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zqm/base/Error.h"

namespace zqm {

// Codes of errors for which libcurl has none. libcurl's own codes are reported negated.
namespace httpError {
// The URL, the method or a header would break a line of the request; nothing was sent.
inline constexpr std::int64_t kBrokenLine = -1001;
// The headers or the body of a response exceed the transport's limits.
inline constexpr std::int64_t kTooLarge = -1002;
// A redirect leads from https to http.
inline constexpr std::int64_t kInsecureRedirect = -1003;
// A download could not be written to its file.
inline constexpr std::int64_t kUnwritable = -1004;
// The transport was destroyed before the exchange was complete.
inline constexpr std::int64_t kClosed = -1005;
// The system has no thread for the exchange.
inline constexpr std::int64_t kNoThread = -1006;
}  // namespace httpError

// Makes an Error of libcurl's `code`, stored negated. Without a `text`, libcurl's message is used.
Error curlError(int code, std::string_view text = {});

// Makes an Error of a `code` from httpError.
Error transportError(std::int64_t code, std::string_view text);

// Returns the text if it is valid UTF-8, else its bytes converted from ISO 8859-1.
std::string toUtf8(std::string_view text);

// Returns the text without blanks and line breaks at its ends.
std::string_view trimmed(std::string_view text);

}  // namespace zqm
