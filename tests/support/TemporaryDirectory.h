// A directory for one test.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace zqm::testing {

// New and empty, and removed with its content.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string path = (std::filesystem::temp_directory_path() / "zqm-test-XXXXXX").string();
    if (!mkdtemp(path.data())) throw std::runtime_error("no temporary directory");
    path_ = path;
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace zqm::testing
