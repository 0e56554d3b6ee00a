// Runs another program and reads what it prints.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace zqm::tools {

struct ProgramRun {
  // Of standard output.
  std::string output;
  // "code 0", "signal 9": how it ended.
  std::string end;
  std::chrono::milliseconds took{0};

  // The value of the first "name=value" line of that name, or "nothing".
  std::string value(std::string_view name) const;
};

// Kills it when it still runs after `limit`. `environment` replaces variables of the caller's.
// Throws std::system_error when it cannot be started.
ProgramRun runProgram(const std::filesystem::path& program,
                      const std::vector<std::string>& arguments,
                      const std::vector<std::pair<std::string, std::string>>& environment,
                      std::chrono::milliseconds limit);

}  // namespace zqm::tools
