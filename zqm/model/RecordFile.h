// The file of a record that is replaced as a whole: one frame with one value.
#pragma once

#include <optional>

#include "zqm/base/Value.h"

namespace zqm {

// None for what no property list can hold either (absent, null, inside it too), and for more than
// a reader takes (see util/Cbor.h). What is written reads back as an equal value.
ZQM_EXPORT std::optional<Bytes> writeRecordFile(const Value& value);

// None where the bytes are not as they were written.
ZQM_EXPORT std::optional<Value> readRecordFile(const Bytes& file);

// Whether a power cut took the first write to the file: it is empty, or all of it is zero.
bool isUnwrittenFile(const Bytes& file);

}  // namespace zqm
