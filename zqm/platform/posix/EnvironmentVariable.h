// The only place that reads the environment.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace zqm {

inline std::optional<std::string> environmentVariable(const char* name) {
  // Unsafe only if the host changes its environment while threads run, which no lock of this
  // library could prevent.
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
  return value ? std::optional<std::string>(value) : std::nullopt;
}

}  // namespace zqm
