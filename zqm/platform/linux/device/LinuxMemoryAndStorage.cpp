// Reads /proc/meminfo and statvfs.
#include "zqm/platform/linux/device/LinuxMemoryAndStorage.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <limits>

#include "zqm/platform/posix/Descriptor.h"

namespace zqm {
namespace {

constexpr std::size_t kLargestInfo = 65536;
constexpr std::uint64_t kKibi = 1024;
// Limits each amount, so that the sum of two does not overflow.
constexpr std::uint64_t kMostKibibytes = std::uint64_t{1} << 52;

// Returns the lines of the file, each after a line break.
std::string memoryInfo(const std::string& root) {
  const auto bytes = readFile(root + "/proc/meminfo", kLargestInfo);
  return std::string("\n").append(bytes ? asText(*bytes) : std::string_view());
}

// Returns the number in the line "`name`:   123 kB", in bytes.
std::optional<std::uint64_t> amount(const std::string& info, std::string_view name) {
  const std::string label = std::string("\n").append(name).append(":");
  std::size_t at = info.find(label);
  if (at == std::string::npos) return std::nullopt;
  at = info.find_first_not_of(' ', at + label.size());
  std::uint64_t kibibytes = 0;
  if (at == std::string::npos ||
      std::from_chars(info.data() + at, info.data() + info.size(), kibibytes).ec != std::errc()) {
    return std::nullopt;
  }
  return std::min(kibibytes, kMostKibibytes) * kKibi;
}

std::uint32_t pages(std::uint64_t bytes, std::uint64_t pageSize) {
  constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
  return static_cast<std::uint32_t>(std::min(bytes / pageSize, most));
}

std::int64_t product(std::uint64_t blocks, std::uint64_t size) {
  constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
  return static_cast<std::int64_t>(size != 0 && blocks > most / size ? most : blocks * size);
}

}  // namespace

std::uint64_t LinuxMemoryAndStorage::physicalMemory() {
  return amount(memoryInfo(root_), "MemTotal").value_or(0);
}

std::optional<MemoryPages> LinuxMemoryAndStorage::memoryPages() {
  const std::string info = memoryInfo(root_);
  const auto free = amount(info, "MemFree");
  const auto active = amount(info, "Active");
  const auto inactive = amount(info, "Inactive");
  const auto unevictable = amount(info, "Unevictable");
  const auto slab = amount(info, "Slab");
  const long size = sysconf(_SC_PAGESIZE);
  if (!free || !active || !inactive || !unevictable || !slab || size <= 0) return std::nullopt;
  const auto pageSize = static_cast<std::uint64_t>(size);
  MemoryPages result;
  result.free = pages(*free, pageSize);
  result.active = pages(*active, pageSize);
  result.inactive = pages(*inactive, pageSize);
  result.wired = pages(*unevictable + *slab, pageSize);
  result.hostPageSize = static_cast<std::uint32_t>(pageSize);
  result.globalPageSize = pageSize;
  return result;
}

std::optional<FileSystemSpace> LinuxMemoryAndStorage::homeSpace() {
  struct statvfs status {};
  if (!home_ || statvfs(home_->c_str(), &status) != 0) return std::nullopt;
  return FileSystemSpace{product(status.f_blocks, status.f_frsize),
                         product(status.f_bavail, status.f_frsize)};
}

}  // namespace zqm
