// The file name that a server suggests for a download. Private to the transport.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "zqm/platform/Http.h"

namespace zqm {

// Returns the file name of Content-Disposition (RFC 6266, with RFC 8187's extended form first),
// else the last component of the URL's percent-encoded `path`. The result is a single path
// component: without separators and control characters, never empty, "." or "..".
std::optional<std::string> suggestedFileName(const std::vector<HttpHeader>& headers,
                                             const std::string& path);

}  // namespace zqm
