// Property lists, binary or XML, as a Value.
#pragma once

#include "zqm/base/Value.h"

namespace zqm {

// Returns an absent value if the bytes are not a property list, are damaged, or nest deeper than
// 512 levels. Only for files of packages, which are trusted like code: 200 bytes of nested
// references can expand to gigabytes.
//
// A byte order mark is skipped. Texts that are not UTF-8 are omitted, as are such keys with their
// values. Other mistakes are not detected: an integer with a leading zero is octal (`010` is 8),
// one beyond 64 bits gives another integer; an invalid number gives 0 or the number it begins with;
// an invalid date gives 1970, and a date more than 68 years from 2001 gives 1932. Dates are read to
// the second.
ZQM_EXPORT Value readPropertyList(const Bytes& bytes);

}  // namespace zqm
