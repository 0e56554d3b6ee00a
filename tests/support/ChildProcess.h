// Runs one test of this program in a process of its own, for what only a process's end can show.
#pragma once

#include <chrono>
#include <string>

namespace zqm::testing {

inline constexpr int kHung = -1000;

// Runs the disabled test "Suite.DISABLED_Name". The exit code, a negative signal number, or kHung
// when the child did not end in time and was killed.
int runInChild(const std::string& test, std::chrono::milliseconds limit = std::chrono::seconds(30));

}  // namespace zqm::testing
