// Property lists, binary or XML, as a Value.
#pragma once

#include "zqm/base/Value.h"

namespace zqm {

// Returns an absent value for bytes that are no property list, are damaged, or nest deeper than 512
// levels. For files of packages, which are trusted as code is: 200 bytes of nested references can
// ask for gigabytes.
//
// A byte order mark is skipped. A text that is not UTF-8 is left out, and so is a key with its
// value; the rest is read. Other mistakes read as something: an integer with a leading zero is
// octal (`010` is 8), one beyond 64 bits another integer; what is no number is 0, or the number
// that it begins with; what is no date is 1970, and a date more than 68 years from 2001 is 1932.
// Dates are read to the second.
ZQM_EXPORT Value readPropertyList(const Bytes& bytes);

}  // namespace zqm
