// FileStamp: shows whether a file or directory has changed since it was read.
#pragma once

#include <sys/stat.h>

#include <string>

namespace zqm {

class FileStamp {
 public:
  enum class Link { followed, itself };

  FileStamp() = default;
  explicit FileStamp(const std::string& path, Link link = Link::followed);

  // Whether the file exists.
  explicit operator bool() const { return exists_; }

  // Same file, size and times. Files that do not exist are equal.
  bool operator==(const FileStamp& other) const;

  // Whether content read after `earlier` was made is still current: the stamps are equal, and the
  // file was not so new then that another write might not change its times.
  bool hasNotChangedSince(const FileStamp& earlier) const {
    return earlier.isSettled_ && *this == earlier;
  }

 private:
  struct stat status_ {};
  bool exists_ = false;
  bool isSettled_ = false;
};

}  // namespace zqm
