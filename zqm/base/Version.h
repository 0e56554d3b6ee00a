// The library's version.
#pragma once

#include "zqm/base/Export.h"

namespace zqm {

// Major version and, after the point, the minor one.
ZQM_EXPORT extern const double versionNumber;
// "major.minor.patch".
ZQM_EXPORT extern const char versionString[];
// Whose public key encrypts the locker's payloads: "development locker key", whose private half
// everybody has, or "operator's locker key".
ZQM_EXPORT extern const char buildInformation[];

}  // namespace zqm
