// Rejects paths with a zero byte, which would make them name another file.
#include "zqm/platform/posix/Paths.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>

namespace zqm {
namespace {

mode_t modeOf(const std::string& path) {
  struct stat status {};
  const bool found = path.find('\0') == std::string::npos && stat(path.c_str(), &status) == 0;
  return found ? status.st_mode : 0;
}

}  // namespace

std::string joinPath(const std::string& directory, std::string_view name) {
  std::string path = directory;
  if (!path.empty() && path.back() != '/') path += '/';
  return path.append(name);
}

std::string parentDirectory(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

bool isDirectory(const std::string& path) { return S_ISDIR(modeOf(path)); }

bool isFile(const std::string& path) { return S_ISREG(modeOf(path)); }

void forEachEntry(const std::string& directory, const std::function<bool(const char*)>& take) {
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(directory.c_str()), &closedir);
  if (!entries) return;
  // Safe, because no other thread uses this stream.
  while (const dirent* entry = readdir(entries.get())) {  // NOLINT(concurrency-mt-unsafe)
    if (!take(entry->d_name)) return;
  }
}

std::vector<std::string> entriesOf(const std::string& directory) {
  std::vector<std::string> names;
  forEachEntry(directory, [&](const char* name) {
    if (*name != '.') names.emplace_back(name);
    return true;
  });
  std::sort(names.begin(), names.end());
  return names;
}

bool makeDirectories(const std::string& path) {
  if (isDirectory(path)) return true;
  if (path.empty() || path.find('\0') != std::string::npos) return false;
  for (std::size_t end = path.find('/', 1); end != std::string::npos;
       end = path.find('/', end + 1)) {
    mkdir(path.substr(0, end).c_str(), S_IRWXU);
  }
  mkdir(path.c_str(), S_IRWXU);
  return isDirectory(path);
}

}  // namespace zqm
