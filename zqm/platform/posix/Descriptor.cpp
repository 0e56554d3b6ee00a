// Opens and reads files, bounded and safe against signals and special files.
#include "zqm/platform/posix/Descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

FileContent contentOfFile(const std::string& path, std::size_t limit) {
  const Descriptor file = openFile(path, O_RDONLY);
  // Nothing exists there: neither the name nor, perhaps, the directories above it.
  if (!file) return {errno == ENOENT || errno == ENOTDIR ? FileContent::none : FileContent::notNow};
  struct stat status {};
  if (fstat(file.get(), &status) != 0) return {FileContent::notNow};
  // The size is a hint: procfs reports 0, and the file may grow meanwhile.
  const auto size = static_cast<std::size_t>(status.st_size);
  if (!S_ISREG(status.st_mode) || size > limit) return {FileContent::foreign};
  FileContent content{FileContent::whole, Bytes(size + 1)};
  Bytes& bytes = content.bytes;
  std::size_t filled = 0;
  for (;;) {
    if (filled == bytes.size()) bytes.resize(filled + kStep);
    const auto count = retryInterrupted(
        [&] { return read(file.get(), bytes.data() + filled, bytes.size() - filled); });
    if (count < 0) return {FileContent::notNow};
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
    if (filled > limit) return {FileContent::foreign};
  }
  bytes.resize(filled);
  return content;
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
