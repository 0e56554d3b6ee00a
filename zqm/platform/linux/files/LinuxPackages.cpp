// Looks for packages anew at each call, since a host may change them. Parsed files are cached, and
// so is the list of a directory that has not changed.
#include "zqm/platform/linux/files/LinuxPackages.h"

#include <sys/stat.h>

#include <algorithm>

#include "zqm/platform/posix/Paths.h"

namespace zqm {
namespace {

constexpr const char* kInfoFile = "Info.plist";

bool hasIdentifier(const Package& package, std::string_view identifier) {
  const std::string* own = package["CFBundleIdentifier"].text();
  return own && *own == identifier;
}

std::string_view nameOf(const Package& package) {
  return std::string_view(package.directory).substr(package.directory.rfind('/') + 1);
}

}  // namespace

std::string LinuxPackages::mainDirectory() const {
  if (places_.main) return *places_.main;
  std::string directory = parentDirectory(places_.executable);
  if (isFile(joinPath(directory, kInfoFile))) return directory;
  const auto name = places_.executable.substr(places_.executable.rfind('/') + 1);
  return joinPath(joinPath(parentDirectory(directory), "share"), name);
}

std::optional<Package> LinuxPackages::package(const std::string& directory) {
  auto info = files_.read(joinPath(directory, kInfoFile));
  return info ? std::optional(Package{directory, std::move(info)}) : std::nullopt;
}

std::vector<Package> LinuxPackages::packages(const std::vector<std::string>& directories) {
  std::vector<Package> found;
  for (const std::string& directory : directories) {
    if (auto one = package(directory)) found.push_back(std::move(*one));
  }
  return found;
}

// Returns all entries of the main package that are not regular files. Cached until the parent
// changes, because hosts keep thousands of files there.
std::vector<std::string> LinuxPackages::besideMain() {
  const std::string parent = mainDirectory();
  const FileStamp stamp(parent);
  const MutexLock lock(mutex_);
  if (stamp.hasNotChangedSince(listed_)) return directories_;
  directories_.clear();
  const auto names = entriesOf(parent);
  for (const std::string& name : names) {
    const std::string path = joinPath(parent, name);
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) directories_.push_back(path);
  }
  // An empty list costs nothing, and may be one that could not be read.
  listed_ = names.empty() ? FileStamp() : stamp;
  return directories_;
}

std::optional<Package> LinuxPackages::library() {
  if (places_.library) {
    if (auto handed = package(*places_.library)) return handed;
  }
  for (Package& one : packages(besideMain())) {
    if (hasIdentifier(one, kLibraryIdentifier)) return std::move(one);
  }
  auto installed = package(places_.installedLibrary);
  if (installed) installed->info = withoutSettings(installed->info);
  return installed;
}

// Settings must come from the host.
std::shared_ptr<const Dictionary> LinuxPackages::withoutSettings(
    const std::shared_ptr<const Dictionary>& info) {
  const MutexLock lock(mutex_);
  if (info != installed_) {
    Dictionary copy = *info;
    copy.set("Environments", Value());
    withoutSettings_ = std::make_shared<const Dictionary>(std::move(copy));
    installed_ = info;
  }
  return withoutSettings_;
}

std::optional<Package> LinuxPackages::mainPackage() { return package(mainDirectory()); }

std::optional<Package> LinuxPackages::packageWithIdentifier(std::string_view identifier) {
  if (identifier == kLibraryIdentifier) return library();
  if (auto main = mainPackage(); main && hasIdentifier(*main, identifier)) return main;
  for (Package& one : frameworks()) {
    if (hasIdentifier(one, identifier)) return std::move(one);
  }
  return std::nullopt;
}

std::vector<Package> LinuxPackages::frameworks() {
  std::vector<Package> all = packages(places_.frameworks ? *places_.frameworks : besideMain());
  auto own = library();
  if (!own) return all;
  if (std::ranges::find(all, own->directory, &Package::directory) != all.end()) return all;
  // Another copy of the library's package would hide the one in use.
  std::erase_if(all, [](const Package& one) { return hasIdentifier(one, kLibraryIdentifier); });
  const auto place = places_.frameworks
                         ? all.end()
                         : std::find_if(all.begin(), all.end(), [&](const Package& one) {
                             return nameOf(one) > nameOf(*own);
                           });
  all.insert(place, std::move(*own));
  return all;
}

std::optional<std::string> LinuxPackages::resource(const Package& package, std::string_view name,
                                                   std::string_view type) {
  std::string file(name);
  if (!type.empty()) file.append(".").append(type);
  // A resource is inside its package, whatever name the settings give.
  if (name.empty() || file.find('/') != std::string::npos) return std::nullopt;
  std::string path = joinPath(package.directory, file);
  return isFile(path) ? std::optional(std::move(path)) : std::nullopt;
}

std::string LinuxPackages::localizedString(std::string_view key) {
  const auto table = files_.read(joinPath(mainDirectory(), "Localizable.strings"));
  const std::string* text = table ? (*table)[key].text() : nullptr;
  return text ? *text : std::string(key);
}

}  // namespace zqm
