// Puts the Linux services together.
#include "zqm/platform/linux/LinuxPlatform.h"

namespace zqm {
namespace {

class LinuxClock : public Clock {
 public:
  Date now() override {
    return std::chrono::floor<Date::duration>(std::chrono::system_clock::now());
  }
};

}  // namespace

Platform makeLinuxPlatform(LinuxOptions) {
  Platform platform;
  platform.clock = std::make_shared<LinuxClock>();
  return platform;
}

Platform makeDefaultPlatform() { return makeLinuxPlatform({}); }

}  // namespace zqm
