// Files on disk, replaced atomically.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>

#include "zqm/base/Mutex.h"
#include "zqm/platform/Platform.h"

namespace zqm {

class LinuxFiles : public Files {
 public:
  // Returns the directory to prepend to each path; with std::nullopt every operation fails.
  using Root = std::function<std::optional<std::string>()>;

  LinuxFiles() = default;
  explicit LinuxFiles(Root root) : root_(std::move(root)) {}

  // Reads regular files of up to 64 MiB.
  std::optional<Bytes> read(const std::string& path) override;
  FileContent contentOf(const std::string& path) override;
  // Creates files of mode 0600. The first write to a directory removes the temporary files that
  // killed writers left there.
  bool writeAtomically(const std::string& path, const Bytes& content) override;
  bool exists(const std::string& path) override;
  // True for a directory, too.
  bool opens(const std::string& path) override;
  // Returns false for a directory.
  bool remove(const std::string& path) override;
  bool move(const std::string& path, const std::string& newPath) override;

 private:
  std::optional<std::string> resolved(const std::string& path) const;
  void removeLitterOnce(const std::string& directory);

  const Root root_;
  Mutex mutex_;
  std::set<std::string> cleaned_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
