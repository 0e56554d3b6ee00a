// Atomic replacement: a locked temporary file beside the target, data-synced, then renamed.
#include "zqm/platform/linux/LinuxFiles.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "zqm/platform/linux/Descriptor.h"
#include "zqm/platform/linux/Paths.h"

namespace zqm {
namespace {

constexpr std::size_t kLargestFile = std::size_t{64} << 20;
constexpr std::string_view kTemporaryPrefix = ".zqm-";
constexpr std::string_view kTemporarySuffix = ".tmp";
// A directory with more entries than this is the host's and not worth a search.
constexpr int kMostEntries = 4096;

std::string temporaryName() {
  std::uint64_t number = 0;
  // Should the kernel refuse, O_EXCL still keeps two writers apart.
  [[maybe_unused]] const auto filled = getrandom(&number, sizeof number, 0);
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(number));
  return std::string(kTemporaryPrefix).append(digits).append(kTemporarySuffix);
}

bool isTemporaryName(std::string_view name) {
  return name.starts_with(kTemporaryPrefix) && name.ends_with(kTemporarySuffix);
}

// True when this process holds the file for itself. The kernel lets go of it when the process is
// killed, in whatever container it ran.
bool lockForWriting(int descriptor) { return flock(descriptor, LOCK_EX | LOCK_NB) == 0; }

bool writeAll(int descriptor, const Bytes& content) {
  std::size_t written = 0;
  while (written < content.size()) {
    const auto count = retryInterrupted(
        [&] { return write(descriptor, content.data() + written, content.size() - written); });
    if (count <= 0) return false;
    written += static_cast<std::size_t>(count);
  }
  return true;
}

// A new file beside the target that vanishes unless it takes the target's place.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& directory) {
    // A cleaner in another process may take a file away before it is locked; then once more.
    for (int attempt = 0; attempt < 8 && !file_; ++attempt) {
      path_ = joinPath(directory, temporaryName());
      Descriptor file =
          openFile(path_, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, S_IRUSR | S_IWUSR);
      if (!file && errno != EEXIST) return;
      if (file && isOurs(file.get())) file_ = std::move(file);
    }
  }
  ~TemporaryFile() {
    if (file_) unlink(path_.c_str());
  }

  explicit operator bool() const { return static_cast<bool>(file_); }

  // The directory itself is not synced: after a power cut the old file may be back, whole.
  bool replace(const std::string& target, const Bytes& content) {
    if (!writeAll(file_.get(), content) || fdatasync(file_.get()) != 0) return false;
    if (rename(path_.c_str(), target.c_str()) != 0) return false;
    file_ = Descriptor();
    return true;
  }

 private:
  static bool isOurs(int descriptor) {
    struct stat status {};
    // Where the file system has no locks, nobody can mistake the file for litter either.
    if (!lockForWriting(descriptor) && errno == EWOULDBLOCK) return false;
    return fstat(descriptor, &status) == 0 && status.st_nlink > 0;
  }

  std::string path_;
  Descriptor file_;
};

void removeLitter(const std::string& directory) {
  int count = 0;
  forEachEntry(directory, [&](const char* name) {
    if (isTemporaryName(name)) {
      const std::string path = joinPath(directory, name);
      const Descriptor file = openFile(path, O_RDONLY | O_NOFOLLOW);
      // Without a lock the writer is still at it.
      if (file && lockForWriting(file.get())) unlink(path.c_str());
    }
    return ++count < kMostEntries;
  });
}

}  // namespace

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

void LinuxFiles::removeLitterOnce(const std::string& directory) {
  {
    const MutexLock lock(mutex_);
    if (!cleaned_.insert(directory).second) return;
  }
  removeLitter(directory);
}

bool LinuxFiles::writeAtomically(const std::string& path, const Bytes& content) {
  const auto place = resolved(path);
  if (!place || content.size() > kLargestFile) return false;
  const std::string directory = parentDirectory(*place);
  removeLitterOnce(directory);
  TemporaryFile file(directory);
  return file && file.replace(*place, content);
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

}  // namespace zqm
