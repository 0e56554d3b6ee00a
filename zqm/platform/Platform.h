// The services of the system that the library uses, one small interface each. To port the library,
// implement these interfaces, `defaultPlatform` (below), the functions of base/System.h, and
// `callStackSymbols` of base/Exception.h. The last two are in platform/posix/System.cpp, for any
// POSIX system; platform/curl needs POSIX and libcurl. Only these folders and those of a system,
// such as platform/linux, include the system's headers.
//
// Every function may be called from any thread. None throws; a value that is unavailable is
// returned as std::nullopt, unless noted otherwise.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zqm/base/Value.h"
#include "zqm/platform/Http.h"
#include "zqm/platform/Journals.h"
#include "zqm/platform/Network.h"

namespace zqm {

class Clock {
 public:
  virtual ~Clock() = default;
  virtual Date now() = 0;
};

// The "CFBundleIdentifier" of the library's own package.
inline constexpr std::string_view kLibraryIdentifier = "org.zqm.core";

// A package of the application: a directory with an information dictionary and resources.
struct Package {
  std::string directory;
  // Shared because a host's can be large; never null.
  std::shared_ptr<const Dictionary> info;

  const Value& operator[](std::string_view key) const { return (*info)[key]; }
};

class Packages {
 public:
  virtual ~Packages() = default;
  // Returns the host's main package, or std::nullopt if it has no readable information dictionary.
  virtual std::optional<Package> mainPackage() = 0;
  // Returns the package with this "CFBundleIdentifier"; the library's own package is included.
  virtual std::optional<Package> packageWithIdentifier(std::string_view identifier) = 0;
  // Returns the framework packages loaded in the process, in the platform's order.
  virtual std::vector<Package> frameworks() = 0;
  // Returns the full path of `name`.`type` in a package, or std::nullopt if there is no such file.
  virtual std::optional<std::string> resource(const Package& package, std::string_view name,
                                              std::string_view type) = 0;
  // Returns the string for `key` in the main package's string table, or `key` if it is missing.
  virtual std::string localizedString(std::string_view key) = 0;
};

// In bytes. Larger files are neither written nor read.
inline constexpr std::size_t kLargestFile = std::size_t{64} << 20;

// The result of reading a path.
struct FileContent {
  enum State {
    none,
    // The file exists, or may exist, but cannot be read at the moment.
    notNow,
    // Not read: a directory, a special file, or a file that is too large.
    foreign,
    whole,
  };

  State state = none;
  Bytes bytes = {};
};

class Files {
 public:
  virtual ~Files() = default;
  // Like `contentOf`, for callers that need no reason.
  virtual std::optional<Bytes> read(const std::string& path) = 0;
  virtual FileContent contentOf(const std::string& path) = 0;
  // Replaces the file atomically: after a crash or power loss it has the old or the new content,
  // complete. Returns false if the old content was kept.
  virtual bool writeAtomically(const std::string& path, const Bytes& content) = 0;
  virtual bool exists(const std::string& path) = 0;
  // Returns whether the file can be opened for reading.
  virtual bool opens(const std::string& path) = 0;
  virtual bool remove(const std::string& path) = 0;
  // Renames the file to an unused path on the same file system. Returns false, without effect, if
  // that is not possible.
  virtual bool move(const std::string& path, const std::string& newPath) = 0;
};

class Directories {
 public:
  virtual ~Directories() = default;
  // Returns a directory shared by a group's applications, created if missing; std::nullopt if the
  // identifier is empty or names a directory outside the groups' parent ("..", "a/b").
  virtual std::optional<std::string> groupContainer(std::string_view groupIdentifier) = 0;
  // Returns the application's own documents directory, created if missing.
  virtual std::optional<std::string> documents() = 0;
  virtual std::string temporary() = 0;
};

class Identity {
 public:
  virtual ~Identity() = default;
  // Returns an upper-case UUID, the same for all applications of the user, or "" if there is none.
  virtual std::string advertisingIdentifier() = 0;
  // Returns an upper-case UUID, the same for one application on one device.
  virtual std::optional<std::string> vendorIdentifier() = 0;
};

class Power {
 public:
  virtual ~Power() = default;
  // Enables the readings on platforms that need it. May be called repeatedly.
  virtual void enableMonitoring() = 0;
  // 0.0 to 1.0, or -1.0 if unknown.
  virtual float level() = 0;
  // 0 unknown, 1 unplugged, 2 charging, 3 full.
  virtual std::int64_t state() = 0;
};

struct MemoryPages {
  std::uint32_t free = 0;
  std::uint32_t active = 0;
  std::uint32_t inactive = 0;
  std::uint32_t wired = 0;
  // The page size that came with the statistics, and the system's global page size, in bytes.
  std::uint32_t hostPageSize = 0;
  std::uint64_t globalPageSize = 0;
};

struct FileSystemSpace {
  std::int64_t size = 0;
  std::int64_t free = 0;
};

class MemoryAndStorage {
 public:
  virtual ~MemoryAndStorage() = default;
  // In bytes; 0 if unknown.
  virtual std::uint64_t physicalMemory() = 0;
  virtual std::optional<MemoryPages> memoryPages() = 0;
  // For the file system that holds the application's home directory, in bytes.
  virtual std::optional<FileSystemSpace> homeSpace() = 0;
};

// The features of an accessibility list, in the order of the list.
enum class AccessibilityFeature {
  assistiveTouch,
  voiceOver,
  switchControl,
  shakeToUndo,
  closedCaptioning,
  boldText,
  darkerSystemColors,
  grayscale,
  guidedAccess,
  invertColors,
  monoAudio,
  reduceMotion,
  reduceTransparency,
  speakScreen,
  speakSelection,
};

struct CellularSubscriber {
  std::optional<std::string> carrierName;
};

class SystemInfo {
 public:
  virtual ~SystemInfo() = default;
  // The hardware code, such as a model code.
  virtual std::string machine() = 0;
  virtual std::string systemVersion() = 0;
  // Returns the current zone's identifier in the time-zone database, for example
  // "America/Sao_Paulo". Follows a change of the zone while the process runs.
  virtual std::string timeZone() = 0;
  // Returns the current locale's identifier, for example "pt_BR".
  virtual std::string locale() = 0;
  // Returns std::nullopt if there is no cellular subscriber.
  virtual std::optional<CellularSubscriber> cellularSubscriber() = 0;
  // Returns the network information of each supported Wi-Fi interface, in order; std::nullopt for
  // an interface without any.
  virtual std::vector<std::optional<Dictionary>> wifiInterfaces() = 0;
  // Returns the port type of each output of the current audio route ("Headphones" for wired ones),
  // std::nullopt for an unknown type. Empty without a route.
  virtual std::vector<std::optional<std::string>> audioOutputs() = 0;
  virtual bool isEnabled(AccessibilityFeature feature) = 0;
};

class HostState {
 public:
  virtual ~HostState() = default;
  // 0 active, 1 inactive, 2 background.
  virtual std::int32_t applicationState() = 0;
  // The modes that the host declares: a list of names, or an absent value.
  virtual Value backgroundModes() = 0;
  // 0 not determined, 1 restricted, 2 denied, 3 authorised.
  virtual std::int32_t trackingAuthorization() = 0;
};

class MainThread {
 public:
  virtual ~MainThread() = default;
  // Runs the task later, in order with the others; never during this call.
  virtual void post(std::function<void()> task) = 0;
  // Calls the observers of `name` synchronously, on this thread, with `object`, the sender.
  virtual void notify(std::string_view name, const std::shared_ptr<void>& object) = 0;
  // Observes `name` until the returned token is destroyed.
  virtual std::shared_ptr<void> observe(
      std::string_view name, std::function<void(const std::shared_ptr<void>&)> observer) = 0;
};

class SystemLog {
 public:
  virtual ~SystemLog() = default;
  virtual void error(std::string_view text) = 0;
};

struct Platform {
  std::shared_ptr<Clock> clock;
  std::shared_ptr<Packages> packages;
  std::shared_ptr<Files> files;
  // The system's files, read below a replaceable root (the modification probe uses it).
  std::shared_ptr<Files> systemFiles;
  std::shared_ptr<Journals> journals;
  std::shared_ptr<Directories> directories;
  std::shared_ptr<Http> http;
  std::shared_ptr<Network> network;
  std::shared_ptr<Identity> identity;
  std::shared_ptr<Power> power;
  std::shared_ptr<MemoryAndStorage> memoryAndStorage;
  std::shared_ptr<SystemInfo> systemInfo;
  std::shared_ptr<HostState> hostState;
  std::shared_ptr<MainThread> mainThread;
  std::shared_ptr<SystemLog> systemLog;
};

// Returns a factory for this build's platform with default options. Nothing is created before the
// factory is called.
ZQM_EXPORT std::function<Platform()> defaultPlatform();

}  // namespace zqm
