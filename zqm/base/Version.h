// The library's version.
#pragma once

#include "zqm/base/Export.h"

namespace zqm {

// Major version and, after the point, the minor one.
ZQM_EXPORT extern const double versionNumber;
// "major.minor.patch".
ZQM_EXPORT extern const char versionString[];

}  // namespace zqm
