// The file of a record that is replaced as a whole: one frame with one value.
#pragma once

#include <optional>

#include "zqm/base/Value.h"

namespace zqm {

// Returns std::nullopt if the value is or contains an absent or null value, or exceeds the reader's
// limits (see util/Cbor.h). A written value reads back equal (but see `putCbor` for dates).
ZQM_EXPORT std::optional<Bytes> writeRecordFile(const Value& value);

// Returns std::nullopt if the file is damaged.
ZQM_EXPORT std::optional<Value> readRecordFile(const Bytes& file);

}  // namespace zqm
