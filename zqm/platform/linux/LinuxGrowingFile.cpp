// Appends, and notices what others do to the file.
#include "zqm/platform/linux/LinuxGrowingFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <vector>

#include "zqm/platform/linux/Paths.h"

namespace zqm {

namespace {

using OpenFiles = std::vector<std::shared_ptr<OpenFile>>;

// A new name survives a power cut only with its directory.
OpenFiles directoriesOf(const std::string& path, const std::string& copyPath) {
  OpenFiles directories;
  for (const std::string& each : {path, copyPath}) {
    Descriptor directory =
        each.empty() ? Descriptor() : openFile(parentDirectory(each), O_RDONLY | O_DIRECTORY);
    if (!directory) continue;
    directories.push_back(std::make_shared<OpenFile>());
    directories.back()->descriptor = std::move(directory);
  }
  return directories;
}

Descriptor newFile(const std::string& path) {
  return openFile(path, O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW, S_IRUSR | S_IWUSR);
}

}  // namespace

std::unique_ptr<GrowingFile> LinuxGrowingFile::open(const std::string& path,
                                                    const std::string& copyPath, std::uint64_t size,
                                                    const Sync& sync) {
  Descriptor file = openFile(path, O_WRONLY | O_APPEND | O_NOFOLLOW);
  struct stat copy {};
  if (!file || (!copyPath.empty() && stat(copyPath.c_str(), &copy) != 0)) return nullptr;
  std::unique_ptr<LinuxGrowingFile> opened(new LinuxGrowingFile(path, sync));
  opened->hold(std::make_shared<OpenFile>(), std::move(file));
  opened->size_ = size;
  if (!copyPath.empty()) {
    // A copy that is a file of its own would have to be compared.
    if (copy.st_ino != opened->number_ || copy.st_dev != opened->device_) return nullptr;
    opened->names_ = 2;
  }
  return opened->isInPlace() ? std::move(opened) : nullptr;
}

std::unique_ptr<GrowingFile> LinuxGrowingFile::create(const std::string& path,
                                                      const std::string& copyPath,
                                                      const Bytes& content, const Sync& sync) {
  std::unique_ptr<LinuxGrowingFile> created(new LinuxGrowingFile(path, sync));
  auto place = std::make_shared<OpenFile>();
  const OpenFiles directories = directoriesOf(path, copyPath);
  Descriptor file = newFile(path);
  if (!file) return nullptr;
  created->hold(std::move(place), std::move(file));
  if (!created->fill(copyPath, content)) return nullptr;
  for (const auto& each : directories) sync->request(each);
  return created;
}

// The copy first, so that nothing may fail once there is content. What stays without content reads
// as never written; to remove it could hit a file that somebody else has put there meanwhile.
bool LinuxGrowingFile::fill(const std::string& copyPath, const Bytes& content) {
  if (!copyPath.empty() && link(path_.c_str(), copyPath.c_str()) == 0) {
    names_ = 2;
  } else if (!copyPath.empty()) {
    copy_ = create(copyPath, "", {}, sync_);
  }
  const bool hasCopy = copyPath.empty() || names_ == 2 || copy_;
  return hasCopy && append(content);
}

std::unique_ptr<GrowingFile> LinuxGrowingFile::prepare(const std::string& path,
                                                       const std::string& copyPath,
                                                       const Bytes& content, const Sync& sync) {
  TemporaryFile file(path);
  if (!file || !file.write(content)) return nullptr;
  std::unique_ptr<LinuxGrowingFile> made(new LinuxGrowingFile(path, sync));
  made->size_ = content.size();
  if (!copyPath.empty()) {
    made->secondName_.emplace(copyPath, file.path());
    if (!*made->secondName_) {
      made->secondName_.reset();
      made->copy_ = prepare(copyPath, "", content, sync);
    }
  }
  made->prepared_.emplace(std::move(file));
  return made;
}

void LinuxGrowingFile::hold(std::shared_ptr<OpenFile> place, Descriptor file) {
  struct stat status {};
  if (fstat(file.get(), &status) == 0) {
    device_ = status.st_dev;
    number_ = status.st_ino;
  }
  place->descriptor = std::move(file);
  file_ = std::move(place);
}

// A file that was removed or replaced has lost a name, which its descriptor tells at once; that it
// was moved only its path tells, which takes four times as long and is asked once a second. The
// times are not asked for: after that, the system takes a finer one at the next write, at a price.
bool LinuxGrowingFile::isInPlace() {
  if (!file_ || file_->isLost || !copyIsInStep_) return false;
  constexpr unsigned kMask = STATX_INO | STATX_NLINK | STATX_SIZE;
  const auto now = std::chrono::steady_clock::now();
  const bool byPath = now >= nextLookAtPath_;
  struct statx found {};
  const int failed = byPath ? statx(AT_FDCWD, path_.c_str(), 0, kMask, &found)
                            : statx(descriptor(), "", AT_EMPTY_PATH, kMask, &found);
  if (byPath) nextLookAtPath_ = now + std::chrono::seconds(1);
  return failed == 0 && found.stx_ino == number_ &&
         makedev(found.stx_dev_major, found.stx_dev_minor) == device_ &&
         found.stx_nlink >= names_ && found.stx_size == size_ && (!copy_ || copy_->isInPlace());
}

bool LinuxGrowingFile::append(const Bytes& piece) {
  // More than could be read.
  if (size_ + piece.size() > kLargestFile) return false;
  if (!writeAll(descriptor(), piece)) {
    // What was written of it is no entry. Where it cannot be cut off, the size tells.
    [[maybe_unused]] const int cut = ftruncate(descriptor(), static_cast<off_t>(size_));
    return false;
  }
  size_ += piece.size();
  if (file_) sync_->request(file_);
  copyIsInStep_ = copyIsInStep_ && (!copy_ || copy_->append(piece));
  return true;
}

bool LinuxGrowingFile::sync() { return fdatasync(descriptor()) == 0 && (!copy_ || copy_->sync()); }

bool LinuxGrowingFile::takePlace() {
  if (!prepared_) return false;
  auto place = std::make_shared<OpenFile>();
  const OpenFiles directories = directoriesOf(path_, secondName_ ? secondName_->target() : "");
  Descriptor file = prepared_->takePlace();
  if (!file) return false;
  prepared_.reset();
  hold(std::move(place), std::move(file));
  sync_->request(file_);
  if (secondName_ && secondName_->takePlace()) names_ = 2;
  secondName_.reset();
  for (const auto& each : directories) sync_->request(each);
  // A copy that cannot be is given up until the file is replaced once more.
  if (copy_ && !copy_->takePlace()) copy_.reset();
  return true;
}

}  // namespace zqm
