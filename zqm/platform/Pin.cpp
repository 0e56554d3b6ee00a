// Pins by opening the library once more with RTLD_NODELETE.
#include "zqm/platform/Pin.h"

#include <dlfcn.h>
#include <link.h>

namespace zqm {

void pinThisLibrary() {
  Dl_info found{};
  link_map* map = nullptr;
  if (dladdr1(reinterpret_cast<const void*>(&pinThisLibrary), &found,
              reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0) {
    return;
  }
  // The program itself has no name.
  if (!map || !map->l_name || !*map->l_name) return;
  static_cast<void>(dlopen(map->l_name, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE));
}

}  // namespace zqm
