// Property lists as the tool writes them, in the XML form, which people can edit.
#pragma once

#include <optional>

#include "zqm/base/Value.h"

namespace zqm::tools {

// Returns nullopt for what no property list can hold: absent, null, a text or key with a zero byte
// or invalid UTF-8, a date more than 68 years from 2001. A date loses its part of a second.
std::optional<Bytes> writePropertyList(const Value& value);

}  // namespace zqm::tools
