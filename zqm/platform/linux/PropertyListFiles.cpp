// A cache that looks at inode, size and times before it trusts itself.
#include "zqm/platform/linux/PropertyListFiles.h"

#include <ctime>

#include "zqm/platform/linux/Descriptor.h"
#include "zqm/util/PropertyList.h"
#include "zqm/util/PropertyListFault.h"

namespace zqm {
namespace {

constexpr std::size_t kLargestDescription = std::size_t{16} << 20;
// The coarsest time stamps of a file system, in seconds.
constexpr std::time_t kStampStep = 2;

bool sameTime(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool sameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         sameTime(a.st_mtim, b.st_mtim) && sameTime(a.st_ctim, b.st_ctim);
}

}  // namespace

std::shared_ptr<const Dictionary> PropertyListFiles::read(const std::string& path) {
  Entry entry;
  if (path.find('\0') != std::string::npos || stat(path.c_str(), &entry.status) != 0) {
    return nullptr;
  }
  {
    const MutexLock lock(mutex_);
    const auto found = entries_.find(path);
    if (found != entries_.end() && found->second.settled &&
        sameFile(found->second.status, entry.status)) {
      return found->second.content;
    }
  }
  entry.settled = std::time(nullptr) - entry.status.st_ctim.tv_sec > kStampStep;
  const auto bytes = readFile(path, kLargestDescription);
  // Trouble of the moment, such as no descriptor left, tells nothing of the file.
  if (!bytes) return nullptr;
  const Value root = readPropertyList(*bytes);
  if (root.dictionary()) {
    entry.content = std::make_shared<const Dictionary>(*root.dictionary());
  } else {
    entry.fault = root.isAbsent() ? propertyListFault(*bytes) : "it holds no dictionary";
  }
  const Entry read = entry;
  {
    const MutexLock lock(mutex_);
    std::swap(entries_[path], entry);
  }
  if (!read.fault.empty() && read.fault != entry.fault) {
    log_->error("The property list " + path + " cannot be read: " + read.fault + ".");
  }
  return read.content;
}

}  // namespace zqm
