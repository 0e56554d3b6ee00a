// Errors of the HTTP transport, and texts of a server made safe for them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zqm/base/Error.h"

namespace zqm {

// Codes of errors that libcurl has no code for. Its own codes reach the caller negated.
namespace httpError {
// The url, the method or a header would break a line of the request; nothing was sent.
inline constexpr std::int64_t kBrokenLine = -1001;
// The headers or the body of an answer are larger than the transport takes.
inline constexpr std::int64_t kTooLarge = -1002;
// A redirect would have left https.
inline constexpr std::int64_t kInsecureRedirect = -1003;
// A download could not be written.
inline constexpr std::int64_t kUnwritable = -1004;
// The transport was destroyed before the exchange was complete.
inline constexpr std::int64_t kClosed = -1005;
// The system has no thread for the exchange.
inline constexpr std::int64_t kNoThread = -1006;
}  // namespace httpError

// `code` is libcurl's, and negated; an empty `text` gives way to libcurl's own words.
Error curlError(int code, std::string_view text = {});

// `code` is one of httpError.
Error transportError(std::int64_t code, std::string_view text);

// The text itself, or, where it is no valid UTF-8, its bytes read as ISO 8859-1.
std::string toUtf8(std::string_view text);

}  // namespace zqm
