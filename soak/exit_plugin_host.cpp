// A host that knows the library from a plugin only, whose path it is given.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "soak/ExitHost.h"

int main(int count, char** arguments) {
  if (count != 2) return 2;
  void* const plugin = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
  const auto run =
      plugin ? reinterpret_cast<void (*)()>(dlsym(plugin, "zqm_exit_plugin")) : nullptr;
  if (!run) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 3;
  }
  run();
  if (std::string_view(std::getenv(zqm::soak::kExitEnding)) == "unload") dlclose(plugin);
  return zqm::soak::kExitCode;
}
