// The start request.
#pragma once

#include <functional>
#include <optional>

#include "zqm/base/Error.h"
#include "zqm/core/ZQMStartResponse.h"

namespace zqm {

using StartCompletion =
    std::function<void(const std::optional<ZQMStartResponse>&, const std::optional<Error>&)>;

// Sends the start request and calls the completion once, on a thread of the transport: with a
// response, with an error, or with neither if the backend refuses (401, 403) or its response cannot
// be read.
void sendStartRequest(const Dictionary& body, const StartCompletion& completion);

}  // namespace zqm
