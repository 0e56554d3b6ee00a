// Compares device, inode, size and times.
#include "zqm/platform/posix/FileStamp.h"

#include <ctime>

namespace zqm {
namespace {

// The coarsest resolution of a file system's time stamps, in seconds.
constexpr std::time_t kStampStep = 2;

bool isSame(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

}  // namespace

FileStamp::FileStamp(const std::string& path, Link link)
    : exists_(path.find('\0') == std::string::npos &&
              (link == Link::itself ? lstat : stat)(path.c_str(), &status_) == 0),
      isSettled_(exists_ && std::time(nullptr) - status_.st_ctim.tv_sec > kStampStep) {}

bool FileStamp::operator==(const FileStamp& other) const {
  const struct stat& then = other.status_;
  return status_.st_dev == then.st_dev && status_.st_ino == then.st_ino &&
         status_.st_size == then.st_size && isSame(status_.st_mtim, then.st_mtim) &&
         isSame(status_.st_ctim, then.st_ctim);
}

}  // namespace zqm
