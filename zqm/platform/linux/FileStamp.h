// FileStamp: what tells whether a file or directory has changed since it was read.
#pragma once

#include <sys/stat.h>

#include <string>

namespace zqm {

class FileStamp {
 public:
  FileStamp() = default;
  explicit FileStamp(const std::string& path);

  // Whether something stands there.
  explicit operator bool() const { return exists_; }

  // Whether what was read after `earlier` was made still holds: the same file, size and times, and
  // these were not so young that another change could have left them as they are.
  bool hasNotChangedSince(const FileStamp& earlier) const;

 private:
  struct stat status_ {};
  bool exists_ = false;
  bool isSettled_ = false;
};

}  // namespace zqm
