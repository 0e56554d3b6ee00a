// FileStamp: shows whether a file or directory has changed since it was read.
#pragma once

#include <sys/stat.h>

#include <string>

namespace zqm {

class FileStamp {
 public:
  FileStamp() = default;
  explicit FileStamp(const std::string& path);

  // Whether the file exists.
  explicit operator bool() const { return exists_; }

  // Whether content read after `earlier` was made is still current: same file, size and times.
  // False if the file was then so new that another write might not change its times.
  bool hasNotChangedSince(const FileStamp& earlier) const;

 private:
  struct stat status_ {};
  bool exists_ = false;
  bool isSettled_ = false;
};

}  // namespace zqm
