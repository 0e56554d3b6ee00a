// A new file beside its target, deleted unless it replaces the target.
#pragma once

#include <string>

#include "zqm/platform/posix/Descriptor.h"

namespace zqm {

class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& target);
  // A second name (hard link) of the file at `path`, which may be in use. Converts to false if that
  // fails: on another file system, or on one without hard links.
  TemporaryFile(const std::string& target, const std::string& path);
  TemporaryFile(TemporaryFile&&) = default;
  TemporaryFile& operator=(TemporaryFile&&) = delete;
  ~TemporaryFile();

  explicit operator bool() const { return static_cast<bool>(file_); }
  const std::string& path() const { return path_; }
  int descriptor() const { return file_.get(); }

  // Appends the content and syncs the data.
  bool write(const Bytes& content);
  // Renames the file over its target. The directory is not synced, so a power loss may bring back
  // the complete old file. Returns the open file, or an empty Descriptor on failure.
  Descriptor replaceTarget();
  // Keeps the file under its temporary name, which is returned.
  std::string release();

 private:
  std::string target_;
  std::string path_;
  Descriptor file_;
};

// Removes the temporary files of killed writers from a directory.
void removeTemporaryFiles(const std::string& directory);

}  // namespace zqm
