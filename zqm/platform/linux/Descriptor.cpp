// Opening and reading, bounded and safe against signals and special files.
#include "zqm/platform/linux/Descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zqm {
namespace {

constexpr std::size_t kShortText = 4096;
constexpr std::size_t kStep = 16384;

bool isRegular(int descriptor, struct stat& status) {
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

Descriptor::~Descriptor() {
  // Never repeated: on Linux the number is free even when a signal interrupts.
  if (number_ >= 0) close(number_);
}

Descriptor openFile(const std::string& path, int flags, unsigned mode) {
  if (path.find('\0') != std::string::npos) return Descriptor();
  return Descriptor(retryInterrupted(
      [&] { return open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, mode); }));
}

std::optional<Bytes> readFile(const std::string& path, std::size_t limit) {
  const Descriptor file = openFile(path, O_RDONLY);
  struct stat status {};
  if (!file || !isRegular(file.get(), status)) return std::nullopt;
  // The size is a hint: procfs says 0, and the file may grow meanwhile.
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > limit) return std::nullopt;
  Bytes content(size + 1);
  std::size_t filled = 0;
  for (;;) {
    if (filled == content.size()) content.resize(filled + kStep);
    const auto count = retryInterrupted(
        [&] { return read(file.get(), content.data() + filled, content.size() - filled); });
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
    if (filled > limit) return std::nullopt;
  }
  content.resize(filled);
  return content;
}

std::optional<std::string> readLine(const std::string& path) {
  const auto content = readFile(path, kShortText);
  if (!content) return std::nullopt;
  std::string text(asText(*content));
  text.erase(text.find_last_not_of(" \t\r\n") + 1);
  return text;
}

}  // namespace zqm
