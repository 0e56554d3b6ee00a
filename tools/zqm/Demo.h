// The demonstration: a backend, an integrator's material and the life of an installation.
#pragma once

#include <filesystem>

namespace zqm::tools {

struct DemoOptions {
  // The example host; a copy of it is run.
  std::filesystem::path hostProgram;
  // Leaves the directory with everything in it behind, and says where.
  bool keep = false;
  // With the real clock and network; what needs hours to pass is left out.
  bool real = false;
};

// True when everything was observed that should be. Throws where it cannot even begin.
bool runDemo(const DemoOptions& options);

}  // namespace zqm::tools
