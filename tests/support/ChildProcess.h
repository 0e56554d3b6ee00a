// Runs one test of this program in a process of its own, for what only a process's end can show.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/zqm/Program.h"

namespace zqm::testing {

// Runs the disabled test "Suite.DISABLED_Name". The exit code, or -1 when a signal ended the child,
// be it that of its own limit of time.
inline int runInChild(const std::string& test,
                      const std::vector<std::pair<std::string, std::string>>& environment = {}) {
  const auto run = tools::runProgram("/proc/self/exe",
                                     {"--gtest_filter=" + test, "--gtest_also_run_disabled_tests"},
                                     environment, std::chrono::seconds(30));
  return run.end.starts_with("code ") ? std::stoi(run.end.substr(5)) : -1;
}

}  // namespace zqm::testing
