// An owned file descriptor, and reading a file through one.
#pragma once

#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "zqm/base/Value.h"
#include "zqm/platform/Platform.h"

namespace zqm {

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor();

  explicit operator bool() const { return number_ >= 0; }
  int get() const { return number_; }
  int release() { return std::exchange(number_, -1); }

 private:
  int number_;
};

// Repeats a system call as long as a signal interrupts it.
template <class Call>
auto retryInterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

// Opens with O_CLOEXEC, without waiting for the other end of a FIFO. Fails if the path contains a
// zero byte, which would make it name another file.
Descriptor openFile(const std::string& path, int flags, unsigned mode = 0);

// Takes the lock of an open file (flock) unless another open file has it; errno is then
// EWOULDBLOCK. The kernel releases it when the process is killed, in whatever container the process
// ran.
bool tryLock(int descriptor);

bool writeAll(int descriptor, std::string_view content);

// Reads from the file's start to its end, but at most `limit` bytes. `size` is a hint.
std::optional<Bytes> readBegin(int descriptor, std::size_t size, std::size_t limit);

// Reads a regular file (those of procfs and sysfs included). Anything else, or more than `limit`
// bytes, is reported as foreign.
FileContent contentOfFile(const std::string& path, std::size_t limit);

// Like `contentOfFile`, but returns std::nullopt unless the state is `whole`.
std::optional<Bytes> readFile(const std::string& path, std::size_t limit);

// Reads a file of at most 4 KiB without the white space at its end.
std::optional<std::string> readLine(const std::string& path);

}  // namespace zqm
