// Memory from /proc/meminfo, storage of the home directory's file system.
#pragma once

#include <optional>
#include <string>

#include "zqm/platform/Platform.h"

namespace zqm {

class LinuxMemoryAndStorage : public MemoryAndStorage {
 public:
  // `root` is prepended to /proc.
  explicit LinuxMemoryAndStorage(std::optional<std::string> home, std::string root = {})
      : home_(std::move(home)), root_(std::move(root)) {}

  std::uint64_t physicalMemory() override;
  // `wired` counts what cannot be paged out: unevictable pages and the kernel's slab. Counts
  // saturate.
  std::optional<MemoryPages> memoryPages() override;
  // `free` is the space that an unprivileged user may fill.
  std::optional<FileSystemSpace> homeSpace() override;

 private:
  const std::optional<std::string> home_;
  const std::string root_;
};

}  // namespace zqm
