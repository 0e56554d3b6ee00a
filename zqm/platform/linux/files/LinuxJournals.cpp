// Opens, locks, names and extends journal files.
#include "zqm/platform/linux/files/LinuxJournals.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <chrono>
#include <system_error>
#include <utility>

#include "zqm/base/System.h"
#include "zqm/platform/linux/files/OwnedDescriptor.h"
#include "zqm/platform/posix/Paths.h"
#include "zqm/platform/posix/TemporaryFile.h"

namespace zqm {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPathInterval{1};
constexpr std::size_t kMostOfBegin = 64 << 10;

// On file systems that cannot rename without replacing, adds a second name instead. If the first
// name cannot be removed, a later recovery removes it as a temporary file.
bool moveWithoutReplacing(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  if (link(from.c_str(), to.c_str()) != 0) return false;
  unlink(from.c_str());
  return true;
}

class LinuxJournalFile : public JournalFile {
 public:
  LinuxJournalFile(std::string path, bool hasName, bool isLocked, Descriptor file,
                   std::uint64_t size)
      : path_(std::move(path)),
        hasName_(hasName),
        isLocked_(isLocked),
        size_(size),
        file_(std::make_unique<OwnedDescriptor>(std::move(file))) {}

  ~LinuxJournalFile() override {
    // Not in a forked child, whose copy is closed: the file is its parent's.
    const bool isOurs = file_->get() >= 0 && file_->isAt(path_.c_str());
    if (!hasName_ && isOurs) unlink(path_.c_str());
  }

  // Unlike other files, an opened one may be of any size.
  std::optional<Bytes> read() override {
    struct stat found {};
    const int number = file_->get();
    if (number < 0 || fstat(number, &found) != 0) return std::nullopt;
    const auto size = static_cast<std::size_t>(found.st_size);
    return readBegin(number, size, size);
  }

  Append append(std::string_view piece) override {
    const int number = numberInPlace();
    if (number < 0) return Append::lost;
    if (!writeAll(number, piece)) return Append::failed;
    size_ += piece.size();
    return Append::done;
  }

  bool cut(std::uint64_t size) override {
    const int number = file_->get();
    if (number < 0 || ftruncate(number, static_cast<off_t>(size)) != 0) return false;
    size_ = size;
    return true;
  }

  bool sync() override {
    const int number = file_->get();
    return number >= 0 && fdatasync(number) == 0;
  }

  bool takeName(const std::string& path) override {
    std::string name = path;
    if (!file_->isAt(path_.c_str()) || !moveWithoutReplacing(path_, path)) return false;
    take(std::move(name));
    return true;
  }

  bool replace(JournalFile& old) override {
    auto& other = static_cast<LinuxJournalFile&>(old);
    if (hasName_ || !other.ownsItsName() || !file_->isAt(path_.c_str())) return false;
    std::string name = other.path_;
    if (rename(path_.c_str(), name.c_str()) != 0) return false;
    take(std::move(name));
    return true;
  }

  bool addName(const std::string& path) override {
    if (!hasName_) return false;
    names_ = 2;
    if (file_->isAt(path.c_str())) return true;
    TemporaryFile second(path, path_);
    const bool isAdded =
        second && file_->isAt(second.path().c_str()) && static_cast<bool>(second.replaceTarget());
    if (!isAdded) names_ = 1;
    return isAdded;
  }

  bool removeName() override { return ownsItsName() && unlink(path_.c_str()) == 0; }

 private:
  // The file already has the name, so nothing may throw.
  void take(std::string path) noexcept {
    path_.swap(path);
    hasName_ = true;
    nextLookAtPath_ = Clock::now() + kPathInterval;
  }

  // Returns the number if the file is as it was left, else -1. A removed or replaced file or copy
  // has lost a name, which the descriptor's link count shows at once. A move shows only at the
  // path, which takes four times as long to check and is checked once a second. Time stamps are not
  // queried: after a query the kernel takes a finer one at the next write, at a cost.
  int numberInPlace() {
    constexpr unsigned kMask = STATX_INO | STATX_NLINK | STATX_SIZE;
    const int number = file_->number();
    struct statx found {};
    if (number < 0 || statx(number, "", AT_EMPTY_PATH, kMask, &found) != 0) return -1;
    const bool isOurs = found.stx_ino == file_->inode() &&
                        makedev(found.stx_dev_major, found.stx_dev_minor) == file_->device();
    if (!isOurs || found.stx_nlink == 0 || found.stx_size != size_) return -1;
    const bool hasLostName = found.stx_nlink < std::exchange(names_, found.stx_nlink);
    const auto now = Clock::now();
    if (!hasName_ || (now < nextLookAtPath_ && !hasLostName)) return number;
    nextLookAtPath_ = now + kPathInterval;
    return file_->isAt(path_.c_str()) ? number : -1;
  }

  // Returns whether the path names this file and the file is this process's. A lost descriptor is
  // opened and locked anew, unless another process was faster.
  bool ownsItsName() {
    if (!hasName_) return false;
    if (isLocked_ && file_->get() < 0) {
      Descriptor again = openFile(path_, O_RDWR | O_APPEND | O_NOFOLLOW);
      if (!again || !tryLock(again.get())) return false;
      auto file = std::make_unique<OwnedDescriptor>(std::move(again));
      if (file->device() != file_->device() || file->inode() != file_->inode()) return false;
      file_ = std::move(file);
    }
    return file_->isAt(path_.c_str());
  }

  // Temporary until the file has a name of its own.
  std::string path_;
  bool hasName_;
  const bool isLocked_;
  std::uint64_t size_;
  // The number of hard links, as far as known.
  std::uint32_t names_ = 1;
  std::unique_ptr<OwnedDescriptor> file_;
  Clock::time_point nextLookAtPath_;
};

}  // namespace

Journals::Turn LinuxJournals::takeTurn(const std::string& directory, std::shared_ptr<void>& token) {
  const auto held = std::make_shared<OwnedDescriptor>(openFile(directory, O_RDONLY | O_DIRECTORY));
  // Without a free descriptor, nothing could be looked at either.
  if (held->get() < 0) return Turn::others;
  if (!tryLock(held->get())) return errno == EWOULDBLOCK ? Turn::others : Turn::noLocks;
  token = held;
  return Turn::ours;
}

std::vector<std::string> LinuxJournals::names(const std::string& directory) {
  removeTemporaryFiles(directory);
  return entriesOf(directory);
}

Journals::Opened LinuxJournals::open(const std::string& path, bool locks) {
  Descriptor file = openFile(path, O_RDWR | O_APPEND | O_NOFOLLOW);
  if (!file && errno == ENOENT) return {Access::none, nullptr, ""};
  if (!file) return {Access::unreadable, nullptr, std::generic_category().message(errno)};
  struct stat found {};
  if (fstat(file.get(), &found) != 0 || !S_ISREG(found.st_mode)) {
    return {Access::unreadable, nullptr, "it is no regular file"};
  }
  // A file that cannot be locked, for whatever reason, is not available.
  if (locks && !tryLock(file.get())) return {Access::taken, nullptr, ""};
  struct stat named {};
  if (lstat(path.c_str(), &named) != 0 || named.st_ino != found.st_ino ||
      named.st_dev != found.st_dev) {
    return {Access::none, nullptr, ""};
  }
  auto opened = std::make_unique<LinuxJournalFile>(path, true, locks, std::move(file),
                                                   static_cast<std::uint64_t>(found.st_size));
  return {Access::owned, std::move(opened), ""};
}

Bytes LinuxJournals::begin(const std::string& path) {
  const Descriptor file = openFile(path, O_RDONLY | O_NOFOLLOW);
  return file ? readBegin(file.get(), kMostOfBegin, kMostOfBegin).value_or(Bytes()) : Bytes();
}

std::unique_ptr<JournalFile> LinuxJournals::create(const std::string& directory, bool locks) {
  TemporaryFile made(joinPath(directory, "journal"));
  if (!made) return nullptr;
  // The copy shares the lock.
  Descriptor copy(fcntl(made.descriptor(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!copy || (locks && !tryLock(copy.get()))) return nullptr;
  return std::make_unique<LinuxJournalFile>(made.release(), false, locks, std::move(copy), 0);
}

bool LinuxJournals::sync(const std::string& directory) {
  const Descriptor open = openFile(directory, O_RDONLY | O_DIRECTORY);
  return open && fsync(open.get()) == 0;
}

std::uint64_t LinuxJournals::generation() { return forkCount(); }

}  // namespace zqm
