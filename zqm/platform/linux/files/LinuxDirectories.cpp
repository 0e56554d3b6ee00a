// Containers and documents in the user data directory.
#include "zqm/platform/linux/files/LinuxDirectories.h"

#include <pwd.h>
#include <unistd.h>

#include <array>

#include "zqm/platform/posix/EnvironmentVariable.h"
#include "zqm/platform/posix/Paths.h"

namespace zqm {
namespace {

std::optional<std::string> absoluteVariable(const char* name) {
  auto value = environmentVariable(name);
  return value && value->starts_with('/') ? std::move(value) : std::nullopt;
}

// Whether the identifier names a single directory inside the user data directory.
bool isDirectoryName(std::string_view identifier) {
  return !identifier.empty() && identifier != "." && identifier != ".." &&
         identifier.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

}  // namespace

UserVariables::UserVariables()
    : home(absoluteVariable("HOME")), dataHome(absoluteVariable("XDG_DATA_HOME")) {}

std::optional<std::string> homeDirectory(const UserVariables& variables) {
  if (variables.home) return variables.home;
  std::array<char, 16384> buffer{};
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found ||
      !found->pw_dir || *found->pw_dir != '/') {
    return std::nullopt;
  }
  return found->pw_dir;
}

std::optional<std::string> userDataDirectory(const UserVariables& variables) {
  if (variables.dataHome) return variables.dataHome;
  const auto home = homeDirectory(variables);
  return home ? std::optional(joinPath(*home, ".local/share")) : std::nullopt;
}

std::optional<std::string> LinuxDirectories::place(std::string_view identifier,
                                                   std::string_view rest) const {
  if (!userData_ || !isDirectoryName(identifier)) return std::nullopt;
  std::string path = joinPath(*userData_, identifier).append(rest);
  return makeDirectories(path) ? std::optional(std::move(path)) : std::nullopt;
}

std::optional<std::string> LinuxDirectories::groupContainer(std::string_view groupIdentifier) {
  return place(groupIdentifier, "");
}

std::optional<std::string> LinuxDirectories::documents() {
  const auto identifier = bundleIdentifier_();
  return identifier ? place(*identifier, "/Documents") : std::nullopt;
}

std::string LinuxDirectories::temporary() { return P_tmpdir; }

std::optional<std::string> LinuxDirectories::own() { return place(kLibraryIdentifier, ""); }

}  // namespace zqm
