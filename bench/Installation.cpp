// Makes the sandbox and lets the backend accept the installation.
#include "bench/Installation.h"

#include <stdlib.h>

#include <stdexcept>
#include <string>

#include "zqm/core/ZQMCore.h"

namespace zqm::bench {
namespace {

std::filesystem::path temporaryDirectory() {
  std::string name = (std::filesystem::temp_directory_path() / "zqm-bench-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no directory " + name);
  return name;
}

}  // namespace

Sandboxed::Sandboxed() : root(temporaryDirectory()) {}

Sandboxed::~Sandboxed() { std::filesystem::remove_all(root); }

Platform Sandboxed::platform() const {
  return makeLinuxPlatform({.mainPackage = sandbox.hostPackage().string(),
                            .userDataDirectory = (root / "data").string()});
}

Installation::Installation() : process(std::make_unique<Process>(platform())) {
  const Process::Scope scope(*process);
  ZQMCore::start(sandbox.applicationId(), nullptr);
  process->drain();
  if (!ZQMCore::isStarted()) throw std::runtime_error("the start was not accepted");
}

Installation& installation() {
  static Installation shared;
  return shared;
}

}  // namespace zqm::bench
