// Finds the program's file and the package installed with the library.
#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <climits>

#include "zqm/platform/linux/files/LinuxPackages.h"
#include "zqm/platform/posix/Paths.h"

namespace zqm {
namespace {

constexpr const char* kPackageName = "ZQMCore.bundle";

// Returns the file that contains this code: the shared library or the program linked with it.
std::string ownFile() {
  Dl_info found{};
  static const char marker = 0;
  if (dladdr(&marker, &found) == 0 || !found.dli_fname) return {};
  std::array<char, PATH_MAX> real{};
  return realpath(found.dli_fname, real.data()) ? real.data() : std::string();
}

}  // namespace

std::string executablePath() {
  std::array<char, PATH_MAX> path{};
  const auto length = readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0 || static_cast<std::size_t>(length) == path.size()) return {};
  return {path.data(), static_cast<std::size_t>(length)};
}

std::string installedLibraryPackage() {
  const std::string directory = parentDirectory(ownFile());
  // Relative to the library's file first, so that an installation may be moved.
  for (const std::string& place :
       {directory, joinPath(directory, ZQM_DATA_FROM_LIBRARY), std::string(ZQM_DATA_DIRECTORY)}) {
    std::string package = joinPath(place, kPackageName);
    if (isDirectory(package)) return package;
  }
  constexpr std::string_view build = ZQM_BUILD_DIRECTORY;
  return build.empty() ? std::string() : joinPath(std::string(build), kPackageName);
}

}  // namespace zqm
