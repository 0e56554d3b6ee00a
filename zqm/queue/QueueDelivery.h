// The delivery of a queued item.
#pragma once

#include <optional>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

// Posts one queued body and waits for the outcome, so the thread must be allowed to block. Returns
// true for status 200 with a UTF-8 or empty body, and for 404, by which the backend says that
// nobody wants the item. Reports if the backend cannot be reached.
bool deliverQueued(std::string_view url, const std::optional<Bytes>& data);

}  // namespace zqm
