// The platform for Linux, and what a host may settle in it before its first call to the library:
// Process::setDefaultPlatform(linuxPlatform({.mainPackage = "/opt/host/package"})).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "zqm/base/OptionalText.h"
#include "zqm/platform/Platform.h"

namespace zqm {

// Functions of the host may be called from any thread; what one of them throws counts as its
// default.
struct LinuxOptions {
  // The directory with the host's Info.plist. Otherwise that of the running executable where it
  // holds one, or <prefix>/share/<executable name>.
  OptionalText mainPackage = std::nullopt;
  // The library's own package. Otherwise the one with the identifier "org.zqm.core" in the main
  // package, or the one installed with the library, without its settings.
  OptionalText libraryPackage = std::nullopt;
  // The framework packages, in order. Otherwise the directories in the main package that hold an
  // Info.plist, in the order of their names.
  std::optional<std::vector<std::string>> frameworkPackages = std::nullopt;
  // Where containers, documents and the platform's own files are kept. Otherwise XDG_DATA_HOME,
  // or .local/share in the home directory.
  OptionalText userDataDirectory = std::nullopt;
  // What the modification probe sees as "/". Otherwise an empty directory of the platform's own.
  OptionalText systemFileRoot = std::nullopt;

  // Certificate authorities, PEM. Otherwise the system's.
  OptionalText authoritiesFile = std::nullopt;
  // For all requests, as a url. Otherwise none is used.
  OptionalText proxy = std::nullopt;

  // Upper-case UUID text, or "" for none. Otherwise a random one of the user.
  std::function<std::string()> advertisingIdentifier = nullptr;
  // Runs a task later on the host's main thread, in order. Otherwise a thread of the library's
  // own stands in for it.
  std::function<void(std::function<void()> task)> postToMainThread = nullptr;

  // 0 active (the default), 1 inactive, 2 background.
  std::function<std::int32_t()> applicationState = nullptr;
  // A list of mode names. Otherwise what the main package lists under "UIBackgroundModes".
  std::function<Value()> backgroundModes = nullptr;
  // 0 not determined (the default), 1 restricted, 2 denied, 3 authorised.
  std::function<std::int32_t()> trackingAuthorization = nullptr;
};

// Reads the environment at once, which costs microseconds; all else waits until the answer is
// called.
ZQM_EXPORT std::function<Platform()> linuxPlatform(LinuxOptions options);

// The same, made at once.
ZQM_EXPORT Platform makeLinuxPlatform(const LinuxOptions& options);

}  // namespace zqm
