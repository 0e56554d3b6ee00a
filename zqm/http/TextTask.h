// Requests whose response is a text. Private to the requests of the library's modules.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Error.h"

namespace zqm {

// Calls `completion` once, on a thread of the transport: on status 200 with the body's text
// (std::nullopt if it is not UTF-8), otherwise with an error only.
void sendForText(std::string_view url, std::string_view method, const std::optional<Bytes>& data,
                 const std::function<void(const std::optional<std::string>&,
                                          const std::optional<Error>&)>& completion);

}  // namespace zqm
