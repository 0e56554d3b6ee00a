// The private half of the development key of the payload locker, for backends on this machine.
#pragma once

#include <optional>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm::tools {

// What was encrypted for the development key: hexadecimal of blocks of 128 bytes (PKCS#1 v1.5).
// None for a text that is no such payload.
std::optional<Bytes> openLockerPayload(std::string_view hex);

}  // namespace zqm::tools
