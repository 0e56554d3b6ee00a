// An owned file descriptor, and reading a file through one.
#pragma once

#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
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

// Repeats a system call that a signal interrupts.
template <class Call>
auto retryInterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

// Opens with O_CLOEXEC and without waiting for a fifo's other end. Fails for a path with a zero
// byte, which would name another file.
Descriptor openFile(const std::string& path, int flags, unsigned mode = 0);

// The content of a regular file (those of procfs and sysfs included); anything else and more than
// `limit` bytes are foreign.
FileContent contentOfFile(const std::string& path, std::size_t limit);

// The same; none where it is not whole.
std::optional<Bytes> readFile(const std::string& path, std::size_t limit);

// The same for a short text, without blanks and line breaks at its end.
std::optional<std::string> readLine(const std::string& path);

}  // namespace zqm
