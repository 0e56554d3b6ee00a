// The library's version.
#pragma once

#include "zqm/base/Export.h"

namespace zqm {

// The major version and, as the fraction, the minor version.
ZQM_EXPORT extern const double versionNumber;
// "major.minor.patch".
ZQM_EXPORT extern const char versionString[];
// Names the built-in locker key: "development locker key", whose private key is public, or
// "operator's locker key".
ZQM_EXPORT extern const char buildInformation[];

}  // namespace zqm
