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
  // The directory in front of every path, or none while there is no such place: then every
  // operation fails.
  using Root = std::function<std::optional<std::string>()>;

  LinuxFiles() = default;
  explicit LinuxFiles(Root root) : root_(std::move(root)) {}

  // Up to 64 MiB of a regular file.
  std::optional<Bytes> read(const std::string& path) override;
  FileContent contentOf(const std::string& path) override;
  // Mode 0600. The temporary files of killed writers are removed from a directory when something
  // is first written to it.
  bool writeAtomically(const std::string& path, const Bytes& content) override;
  bool exists(const std::string& path) override;
  // A directory opens too.
  bool opens(const std::string& path) override;
  // False for a directory.
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
