// Files on disk, replaced by rename.
#include "zqm/platform/linux/files/LinuxFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "zqm/platform/posix/Descriptor.h"
#include "zqm/platform/posix/Paths.h"
#include "zqm/platform/posix/TemporaryFile.h"

namespace zqm {

std::optional<std::string> LinuxFiles::resolved(const std::string& path) const {
  if (path.find('\0') != std::string::npos || path.empty()) return std::nullopt;
  if (!root_) return path;
  auto root = root_();
  if (!root) return std::nullopt;
  return joinPath(*root, path.front() == '/' ? std::string_view(path).substr(1) : path);
}

std::optional<Bytes> LinuxFiles::read(const std::string& path) {
  const auto place = resolved(path);
  return place ? readFile(*place, kLargestFile) : std::nullopt;
}

FileContent LinuxFiles::contentOf(const std::string& path) {
  const auto place = resolved(path);
  return place ? contentOfFile(*place, kLargestFile) : FileContent();
}

void LinuxFiles::removeLitterOnce(const std::string& directory) {
  {
    const MutexLock lock(mutex_);
    if (!cleaned_.insert(directory).second) return;
  }
  removeTemporaryFiles(directory);
}

bool LinuxFiles::writeAtomically(const std::string& path, const Bytes& content) {
  const auto place = resolved(path);
  if (!place || content.size() > kLargestFile) return false;
  removeLitterOnce(parentDirectory(*place));
  TemporaryFile file(*place);
  return file && file.write(content) && file.replaceTarget();
}

bool LinuxFiles::exists(const std::string& path) {
  const auto place = resolved(path);
  struct stat status {};
  return place && stat(place->c_str(), &status) == 0;
}

bool LinuxFiles::opens(const std::string& path) {
  const auto place = resolved(path);
  return place && openFile(*place, O_RDONLY);
}

bool LinuxFiles::remove(const std::string& path) {
  const auto place = resolved(path);
  return place && unlink(place->c_str()) == 0;
}

bool LinuxFiles::move(const std::string& path, const std::string& newPath) {
  const auto from = resolved(path);
  const auto to = resolved(newPath);
  return from && to &&
         renameat2(AT_FDCWD, from->c_str(), AT_FDCWD, to->c_str(), RENAME_NOREPLACE) == 0;
}

}  // namespace zqm
