// uname, os-release and the locale's variables. What only D-Bus tells is unknown.
#include "zqm/platform/linux/device/LinuxSystemInfo.h"

#include <sys/utsname.h>

#include <algorithm>

#include "zqm/platform/posix/Descriptor.h"
#include "zqm/platform/posix/EnvironmentVariable.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

constexpr std::size_t kLargestRelease = 65536;
// The locale identifier for the standard C locale.
constexpr const char* kStandardLocale = "en_US_POSIX";

// Returns the value in a line of os-release, which may be quoted as in a shell.
std::string unquoted(std::string_view text) {
  if (text.size() < 2 || (text.front() != '"' && text.front() != '\'') ||
      text.back() != text.front()) {
    return std::string(text);
  }
  const bool escapes = text.front() == '"';
  text = text.substr(1, text.size() - 2);
  std::string value;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (escapes && text[i] == '\\' && i + 1 < text.size()) ++i;
    value += text[i];
  }
  return value;
}

std::optional<std::string> releaseValue(std::string_view release, std::string_view key) {
  while (!release.empty()) {
    std::string_view line = release.substr(0, release.find('\n'));
    release.remove_prefix(std::min(line.size() + 1, release.size()));
    if (line.starts_with(key) && line.substr(key.size()).starts_with('=')) {
      return unquoted(line.substr(key.size() + 1));
    }
  }
  return std::nullopt;
}

bool isAlphanumeric(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Returns "pt_BR" for "pt_BR.UTF-8@modifier", std::nullopt if the value names no language.
std::optional<std::string> localeIdentifier(std::string_view variable) {
  const std::string_view name = variable.substr(0, variable.find_first_of(".@"));
  if (name == "C" || name == "POSIX") return kStandardLocale;
  const std::size_t language = std::min(name.find('_'), name.size());
  if (language < 2 || language > 3 || name.size() > 32) return std::nullopt;
  const bool isPlain =
      std::ranges::all_of(name, [](char c) { return isAlphanumeric(c) || c == '_'; });
  return isPlain ? std::optional<std::string>(name) : std::nullopt;
}

}  // namespace

std::string LinuxSystemInfo::machine() {
  utsname names{};
  return uname(&names) == 0 ? names.machine : "";
}

std::string LinuxSystemInfo::systemVersion() {
  for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
    const auto bytes = readFile(root_ + path, kLargestRelease);
    if (!bytes) continue;
    const auto version = releaseValue(asText(*bytes), "VERSION_ID");
    if (version && !version->empty() && isValidUtf8(*version)) return *version;
  }
  utsname names{};
  return uname(&names) == 0 ? names.release : "";
}

std::string LinuxSystemInfo::locale() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LC_CTYPE", "LANG"}) {
    const auto variable = environmentVariable(name);
    if (auto identifier = localeIdentifier(variable.value_or(""))) return *identifier;
  }
  return kStandardLocale;
}

}  // namespace zqm
