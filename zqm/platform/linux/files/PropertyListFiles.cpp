// Checks the file's stamp before it uses the cache.
#include "zqm/platform/linux/files/PropertyListFiles.h"

#include "zqm/platform/posix/Descriptor.h"
#include "zqm/util/PropertyList.h"
#include "zqm/util/PropertyListFault.h"

namespace zqm {
namespace {

constexpr std::size_t kLargestDescription = std::size_t{16} << 20;
}  // namespace

std::shared_ptr<const Dictionary> PropertyListFiles::read(const std::string& path) {
  Entry entry{FileStamp(path)};
  if (!entry.stamp) return nullptr;
  {
    const MutexLock lock(mutex_);
    const auto found = entries_.find(path);
    if (found != entries_.end() && entry.stamp.hasNotChangedSince(found->second.stamp)) {
      return found->second.content;
    }
  }
  const auto bytes = readFile(path, kLargestDescription);
  // A temporary failure, such as no free descriptor, says nothing about the file.
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
