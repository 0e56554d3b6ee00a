// What a host with plugins loads: the library, and the situation in which the host ends.
#include "soak/ExitHost.h"

extern "C" __attribute__((visibility("default"))) void zqm_exit_plugin() {
  zqm::soak::runExitHost();
}
