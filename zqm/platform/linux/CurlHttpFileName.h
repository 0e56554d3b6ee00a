// What a server would call the content of its answer. Private to the transport.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "zqm/platform/Http.h"

namespace zqm {

// The file name of Content-Disposition (RFC 6266, with RFC 8187's extended form first), otherwise
// the last component of the url's path, which is percent-encoded. Always one component that
// names a file: no separator, no control character, never empty, "." or "..".
std::optional<std::string> suggestedFileName(const std::vector<HttpHeader>& headers,
                                             const std::string& path);

}  // namespace zqm
