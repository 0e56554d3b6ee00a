// Puts the Linux services together.
#include "zqm/platform/Platform.h"

namespace zqm {

Platform makeDefaultPlatform() { return {}; }

}  // namespace zqm
