// Opens, locks, reads and writes files, bounded and safe against signals and special files.
#include "zqm/platform/posix/Descriptor.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace zqm {
namespace {

constexpr std::size_t kShortText = 4096;
constexpr std::size_t kStep = 16384;

}  // namespace

Descriptor::~Descriptor() {
  // Never repeated: on Linux the number is free even if a signal interrupted the call.
  if (number_ >= 0) close(number_);
}

Descriptor openFile(const std::string& path, int flags, unsigned mode) {
  if (path.find('\0') != std::string::npos) return Descriptor();
  return Descriptor(retryInterrupted(
      [&] { return open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, mode); }));
}

bool tryLock(int descriptor) {
  return retryInterrupted([&] { return flock(descriptor, LOCK_EX | LOCK_NB); }) == 0;
}

bool writeAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const auto count =
        retryInterrupted([&] { return write(descriptor, content.data(), content.size()); });
    if (count <= 0) return false;
    content.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

std::optional<Bytes> readBegin(int descriptor, std::size_t size, std::size_t limit) {
  Bytes bytes(std::min(size, limit));
  std::size_t filled = 0;
  while (filled < limit) {
    if (filled == bytes.size()) bytes.resize(std::min(filled + kStep, limit));
    const auto count = retryInterrupted([&] {
      return pread(descriptor, bytes.data() + filled, bytes.size() - filled,
                   static_cast<off_t>(filled));
    });
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  bytes.resize(filled);
  return bytes;
}

FileContent contentOfFile(const std::string& path, std::size_t limit) {
  const Descriptor file = openFile(path, O_RDONLY);
  // Nothing exists there: neither the name nor, perhaps, the directories above it.
  if (!file) return {errno == ENOENT || errno == ENOTDIR ? FileContent::none : FileContent::notNow};
  struct stat status {};
  if (fstat(file.get(), &status) != 0) return {FileContent::notNow};
  // The size is a hint: procfs reports 0, and the file may grow meanwhile.
  const auto size = static_cast<std::size_t>(status.st_size);
  if (!S_ISREG(status.st_mode) || size > limit) return {FileContent::foreign};
  auto bytes = readBegin(file.get(), size + 1, limit + 1);
  if (!bytes) return {FileContent::notNow};
  if (bytes->size() > limit) return {FileContent::foreign};
  return {FileContent::whole, std::move(*bytes)};
}

std::optional<Bytes> readFile(const std::string& path, std::size_t limit) {
  FileContent content = contentOfFile(path, limit);
  return content.state == FileContent::whole ? std::optional(std::move(content.bytes))
                                             : std::nullopt;
}

std::optional<std::string> readLine(const std::string& path) {
  const auto content = readFile(path, kShortText);
  if (!content) return std::nullopt;
  std::string text(asText(*content));
  text.erase(text.find_last_not_of(" \t\r\n") + 1);
  return text;
}

}  // namespace zqm
