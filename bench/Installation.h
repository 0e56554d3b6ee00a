// A sandbox with its backend, and an installation that the backend has accepted.
#pragma once

#include <filesystem>
#include <memory>

#include "tools/zqm/Backend.h"
#include "tools/zqm/Sandbox.h"
#include "zqm/platform/Process.h"
#include "zqm/platform/linux/LinuxPlatform.h"

namespace zqm::bench {

// In a temporary directory, which goes with it.
struct Sandboxed {
  Sandboxed();
  ~Sandboxed();

  Platform platform() const;

  const std::filesystem::path root;
  const tools::IntegratorKey key = tools::makeIntegratorKey();
  tools::Backend backend{key.certificate};
  const tools::Sandbox sandbox =
      tools::Sandbox::create(root / "sandbox", key, {.backendUrl = backend.url()});
};

struct Installation : Sandboxed {
  Installation();

  const std::unique_ptr<Process> process;
};

// Shared by the benchmarks of one program.
Installation& installation();

}  // namespace zqm::bench
