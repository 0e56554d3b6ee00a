// The file is locked while its writer lives, which tells it from a left-over one.
#include "zqm/platform/posix/TemporaryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "zqm/base/System.h"
#include "zqm/platform/posix/Paths.h"

namespace zqm {
namespace {

constexpr std::string_view kTemporaryPrefix = ".zqm-";
constexpr std::string_view kTemporarySuffix = ".tmp";
// Larger directories belong to the host and are not searched further.
constexpr int kMostEntries = 4096;

std::string temporaryName() {
  std::uint64_t number = 0;
  // If the kernel fails to fill it, O_EXCL still keeps two writers apart.
  static_cast<void>(fillWithRandom(&number, sizeof number));
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(number));
  return std::string(kTemporaryPrefix).append(digits).append(kTemporarySuffix);
}

bool isTemporaryName(std::string_view name) {
  return name.starts_with(kTemporaryPrefix) && name.ends_with(kTemporarySuffix);
}

bool isOurs(int descriptor) {
  struct stat status {};
  // On a file system without locks, no process can take the file for a left-over one either.
  if (!tryLock(descriptor) && errno == EWOULDBLOCK) return false;
  return fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

}  // namespace

TemporaryFile::TemporaryFile(const std::string& target) : target_(target) {
  const std::string directory = parentDirectory(target);
  // Another process may remove the file as left over before it is locked; then try again.
  for (int attempt = 0; attempt < 8 && !file_; ++attempt) {
    path_ = joinPath(directory, temporaryName());
    Descriptor file =
        openFile(path_, O_RDWR | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (!file && errno != EEXIST) return;
    if (file && isOurs(file.get())) file_ = std::move(file);
  }
}

TemporaryFile::TemporaryFile(const std::string& target, const std::string& path)
    : target_(target), path_(joinPath(parentDirectory(target), temporaryName())) {
  if (link(path.c_str(), path_.c_str()) == 0) file_ = openFile(path_, O_WRONLY | O_NOFOLLOW);
}

TemporaryFile::~TemporaryFile() {
  if (file_) unlink(path_.c_str());
}

bool TemporaryFile::write(const Bytes& content) {
  return writeAll(file_.get(), asText(content)) && fdatasync(file_.get()) == 0;
}

Descriptor TemporaryFile::replaceTarget() {
  if (!file_ || rename(path_.c_str(), target_.c_str()) != 0) return Descriptor();
  return std::move(file_);
}

std::string TemporaryFile::release() {
  file_ = Descriptor();
  return std::move(path_);
}

void removeTemporaryFiles(const std::string& directory) {
  int count = 0;
  forEachEntry(directory, [&](const char* name) {
    if (isTemporaryName(name)) {
      const std::string path = joinPath(directory, name);
      const Descriptor file = openFile(path, O_RDONLY | O_NOFOLLOW);
      // Without the lock, its writer is still at work.
      if (file && tryLock(file.get())) unlink(path.c_str());
    }
    return ++count < kMostEntries;
  });
}

}  // namespace zqm
