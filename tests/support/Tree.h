// A tree of files of a test's own.
#pragma once

#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "tests/support/TemporaryDirectory.h"

namespace zqm::testing {

class Tree : public TemporaryDirectory {
 public:
  std::string root() const { return path().string(); }
  std::string operator/(std::string_view name) const { return (path() / name).string(); }

  // Writes a file, with the directories above it, and returns its path.
  std::string put(std::string_view name, std::string_view content) const {
    const std::filesystem::path file = path() / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file.string();
  }
};

// The content of a file; "" when there is none.
inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace zqm::testing
