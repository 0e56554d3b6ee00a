// The platform for Linux and its options, to be set before the first call to the library:
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

// Functions of the host may be called from any thread. One that throws gives 0, "" or an absent
// value; a task whose posting throws is dropped.
struct LinuxOptions {
  // The directory with the host's Info.plist. Default: the running executable's directory if it
  // holds one, else <prefix>/share/<executable name>.
  OptionalText mainPackage = std::nullopt;
  // The library's own package. Default: the one with the identifier "org.zqm.core" in the main
  // package, else the one installed with the library, without its settings.
  OptionalText libraryPackage = std::nullopt;
  // The framework packages, in order. Default: the directories in the main package that hold an
  // Info.plist, sorted by name.
  std::optional<std::vector<std::string>> frameworkPackages = std::nullopt;
  // The parent of containers, documents and the platform's own files. Default: XDG_DATA_HOME, else
  // .local/share in the home directory.
  OptionalText userDataDirectory = std::nullopt;
  // What the modification probe sees as "/". Default: an empty directory of the platform's own.
  OptionalText systemFileRoot = std::nullopt;

  // A file of certificate authorities, PEM. Default: the system's.
  OptionalText authoritiesFile = std::nullopt;
  // The URL of a proxy for all requests. Default: none.
  OptionalText proxy = std::nullopt;

  // Returns an upper-case UUID, or "" for none. Default: a random one, kept for the user.
  std::function<std::string()> advertisingIdentifier = nullptr;
  // Runs a task later on the host's main thread, in order. Default: a thread of the library takes
  // the main thread's place.
  std::function<void(std::function<void()> task)> postToMainThread = nullptr;

  // 0 active (the default), 1 inactive, 2 background.
  std::function<std::int32_t()> applicationState = nullptr;
  // Returns a list of mode names. Default: "UIBackgroundModes" of the main package.
  std::function<Value()> backgroundModes = nullptr;
  // 0 not determined (the default), 1 restricted, 2 denied, 3 authorised.
  std::function<std::int32_t()> trackingAuthorization = nullptr;
};

// Reads the environment now (microseconds); all else happens when the returned factory is called.
ZQM_EXPORT std::function<Platform()> linuxPlatform(LinuxOptions options);

// Like `linuxPlatform`, but makes the platform at once.
ZQM_EXPORT Platform makeLinuxPlatform(const LinuxOptions& options);

}  // namespace zqm
