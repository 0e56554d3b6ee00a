// Operations on files, taken over by the names of their functions.
#include "tests/faults/Faults.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <map>
#include <mutex>
#include <optional>

namespace zqm::testing {
namespace {

constinit Countdown operations;
constinit std::atomic<int> operationError = 0;
constinit std::atomic<bool> isOld = false;

struct OpenFile {
  int file = 0;
  std::string path;
};

struct Files {
  std::mutex mutex;
  std::string directory;
  std::vector<FileStep> steps;
  std::map<int, OpenFile> open;
  std::map<std::string, int> named;
  int last = 0;
};
constinit std::atomic<Files*> watched = nullptr;

bool concerns(const char* path) {
  if (!watched || isSpared) return false;
  const std::lock_guard lock(watched.load()->mutex);
  return std::string_view(path).starts_with(watched.load()->directory);
}

bool concerns(int descriptor) {
  if (!watched || isSpared) return false;
  const std::lock_guard lock(watched.load()->mutex);
  return watched.load()->open.contains(descriptor);
}

bool fails(bool changes) {
  const int error = operationError;
  const bool spares = !changes && (error == ENOSPC || error == EROFS);
  if (spares || !operations.isDue()) return false;
  errno = error;
  return true;
}

// Runs the operation and, where it worked, adds its step, all under one lock.
template <class Call, class Step>
auto recorded(const Call& call, const Step& step) {
  Files& files = *watched;
  const std::lock_guard lock(files.mutex);
  isSpared = true;
  const auto result = call();
  const int error = errno;
  std::optional<FileStep> made;
  if (result >= 0) made = step(files, static_cast<int>(result));
  if (made) files.steps.push_back(*std::move(made));
  isSpared = false;
  errno = error;
  return result;
}

int recordedSync(int descriptor) {
  if (fails(true)) return -1;
  return recorded([] { return 0; },
                  [&](Files& files, int) {
                    const auto& [file, path] = files.open[descriptor];
                    return FileStep{FileStep::sync, file, path};
                  });
}

// The function that this one stands in front of.
template <class Function>
Function* next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

FileFault::FileFault(Fault fault, int error) {
  operationError = error;
  operations.begin(fault);
}
void FileFault::end() { operations.end(); }
bool FileFault::hasHappened() { return operations.hasHappened(); }
bool FileFault::isOver() { return operations.isOver(); }

OldFileSystem::OldFileSystem() { isOld = true; }
OldFileSystem::~OldFileSystem() { isOld = false; }

void watchFiles(const std::string& directory) {
  if (!watched) watched = new Files;
  Files& files = *watched;
  const std::lock_guard lock(files.mutex);
  files.directory = directory;
  files.steps.clear();
  files.named.clear();
}

std::vector<FileStep> recordedSteps() {
  const std::lock_guard lock(watched.load()->mutex);
  return watched.load()->steps;
}

void recordMark() {
  const std::lock_guard lock(watched.load()->mutex);
  watched.load()->steps.emplace_back();
}

}  // namespace zqm::testing

using namespace zqm::testing;  // NOLINT

extern "C" {

int open(const char* path, int flags, ...) {
  static auto* const real = next(open, "open");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (!concerns(path)) return real(path, flags, mode);
  if (fails((flags & O_ACCMODE) != O_RDONLY)) return -1;
  const auto step = [&](Files& files, int descriptor) {
    const bool isNew = (flags & O_CREAT) != 0;
    int& file = files.named[path];
    if (isNew || file == 0) file = ++files.last;
    files.open[descriptor] = {file, path};
    return isNew ? std::optional(FileStep{FileStep::name, file, path}) : std::nullopt;
  };
  return recorded([&] { return real(path, flags, mode); }, step);
}

int close(int descriptor) {
  static auto* const real = next(close, "close");
  if (!concerns(descriptor)) return real(descriptor);
  return recorded([&] { return real(descriptor); },
                  [&](Files& files, int) {
                    files.open.erase(descriptor);
                    return std::nullopt;
                  });
}

ssize_t read(int descriptor, void* buffer, std::size_t size) {
  static auto* const real = next(read, "read");
  return concerns(descriptor) && fails(false) ? -1 : real(descriptor, buffer, size);
}

ssize_t write(int descriptor, const void* bytes, std::size_t size) {
  static auto* const real = next(write, "write");
  if (!concerns(descriptor)) return real(descriptor, bytes, size);
  const bool isTorn = fails(true);
  const int error = errno;
  const std::string part(static_cast<const char*>(bytes), isTorn ? size / 2 : size);
  const auto written = recorded([&] { return real(descriptor, part.data(), part.size()); },
                                [&](Files& files, int count) {
                                  return FileStep{FileStep::write, files.open[descriptor].file, "",
                                                  part.substr(0, static_cast<std::size_t>(count))};
                                });
  if (isTorn) errno = error;
  return isTorn ? -1 : written;
}

ssize_t pread(int descriptor, void* buffer, std::size_t size, off_t at) {
  static auto* const real = next(pread, "pread");
  return concerns(descriptor) && fails(false) ? -1 : real(descriptor, buffer, size, at);
}

int fdatasync(int descriptor) {
  static auto* const real = next(fdatasync, "fdatasync");
  return concerns(descriptor) ? recordedSync(descriptor) : real(descriptor);
}

int fsync(int descriptor) {
  static auto* const real = next(fsync, "fsync");
  return concerns(descriptor) ? recordedSync(descriptor) : real(descriptor);
}

int ftruncate(int descriptor, off_t size) noexcept {
  static auto* const real = next(ftruncate, "ftruncate");
  if (!concerns(descriptor)) return real(descriptor, size);
  if (fails(true)) return -1;
  return recorded([&] { return real(descriptor, size); },
                  [&](Files& files, int) {
                    return FileStep{FileStep::cut, files.open[descriptor].file, "", "",
                                    static_cast<std::size_t>(size)};
                  });
}

int flock(int descriptor, int operation) noexcept {
  static auto* const real = next(flock, "flock");
  if (!concerns(descriptor)) return real(descriptor, operation);
  const bool isRefused = !isOld && fails(false);
  if (!isOld && !isRefused) return real(descriptor, operation);
  // Another process has the lock at this moment, or nobody ever has.
  errno = isRefused ? EWOULDBLOCK : EOPNOTSUPP;
  return -1;
}

// The one command that is asked for takes a number.
int fcntl(int descriptor, int command, ...) {
  static auto* const real = next(fcntl, "fcntl");
  va_list arguments;
  va_start(arguments, command);
  const long argument = va_arg(arguments, long);
  va_end(arguments);
  if (command != F_DUPFD_CLOEXEC || !concerns(descriptor)) {
    return real(descriptor, command, argument);
  }
  if (fails(false)) return -1;
  return recorded([&] { return real(descriptor, command, argument); },
                  [&](Files& files, int copy) {
                    files.open[copy] = files.open[descriptor];
                    return std::nullopt;
                  });
}

DIR* opendir(const char* path) {
  static auto* const real = next(opendir, "opendir");
  return concerns(path) && fails(false) ? nullptr : real(path);
}

int stat(const char* path, struct stat* status) noexcept {
  static auto* const real =
      reinterpret_cast<int (*)(const char*, struct stat*)>(dlsym(RTLD_NEXT, "stat"));
  return concerns(path) && fails(false) ? -1 : real(path, status);
}

// There is no fstat here: of an open file, the system knows the answer.
int lstat(const char* path, struct stat* status) noexcept {
  static auto* const real = next(lstat, "lstat");
  return concerns(path) && fails(false) ? -1 : real(path, status);
}

int statx(int from, const char* path, int flags, unsigned mask, struct statx* status) noexcept {
  static auto* const real =
      reinterpret_cast<int (*)(int, const char*, int, unsigned, struct statx*)>(
          dlsym(RTLD_NEXT, "statx"));
  const bool concerned = *path == 0 ? concerns(from) : concerns(path);
  return concerned && fails(false) ? -1 : real(from, path, flags, mask, status);
}

int link(const char* path, const char* newPath) noexcept {
  static auto* const real = next(link, "link");
  if (!concerns(path)) return real(path, newPath);
  if (fails(true)) return -1;
  return recorded([&] { return real(path, newPath); },
                  [&](Files& files, int) {
                    const int file = files.named[newPath] = files.named[path];
                    return FileStep{FileStep::name, file, newPath};
                  });
}

int unlink(const char* path) noexcept {
  static auto* const real = next(unlink, "unlink");
  if (!concerns(path)) return real(path);
  if (fails(true)) return -1;
  return recorded([&] { return real(path); },
                  [&](Files& files, int) {
                    files.named.erase(path);
                    return FileStep{FileStep::unname, 0, path};
                  });
}

int renameat2(int from, const char* path, int to, const char* newPath, unsigned flags) noexcept {
  static auto* const real = next(renameat2, "renameat2");
  if (!concerns(path)) return real(from, path, to, newPath, flags);
  if (flags != 0 && isOld) {
    errno = EINVAL;
    return -1;
  }
  if (fails(true)) return -1;
  return recorded([&] { return real(from, path, to, newPath, flags); },
                  [&](Files& files, int) {
                    const int file = files.named[newPath] = files.named[path];
                    files.named.erase(path);
                    return FileStep{FileStep::rename, file, path, newPath};
                  });
}

int rename(const char* path, const char* newPath) noexcept {
  return renameat2(AT_FDCWD, path, AT_FDCWD, newPath, 0);
}

}  // extern "C"
