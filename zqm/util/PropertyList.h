// Property lists to and from Value: written in the binary form, read in the binary and XML forms.
#pragma once

#include <optional>

#include "zqm/base/Value.h"

namespace zqm {

// None for a value that no property list can hold: absent, null, a text or key with a zero byte or
// invalid UTF-8, a date more than 68 years from 2001, more than 512 levels, or more than a reader
// accepts. What is written reads back as an equal value.
ZQM_EXPORT std::optional<Bytes> writePropertyList(const Value& value);

// Absent when the bytes are no property list, damaged, or made to exhaust the reader.
ZQM_EXPORT Value readPropertyList(const Bytes& bytes);

}  // namespace zqm
