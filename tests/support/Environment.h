// The process's environment under a test's control.
#pragma once

#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zqm::testing {

// Sets variables, or takes them away, for a scope.
class Environment {
 public:
  using Variable = std::pair<std::string, std::optional<std::string>>;

  Environment(std::initializer_list<Variable> variables) {
    for (const auto& [name, value] : variables) {
      const char* before = getenv(name.c_str());
      before_.emplace_back(name, before ? std::optional<std::string>(before) : std::nullopt);
      set(name, value);
    }
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  ~Environment() {
    for (const auto& [name, value] : before_) set(name, value);
  }

 private:
  static void set(const std::string& name, const std::optional<std::string>& value) {
    value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
  }

  std::vector<Variable> before_;
};

}  // namespace zqm::testing
