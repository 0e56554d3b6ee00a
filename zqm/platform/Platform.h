// What the library asks of the system under it, one small interface for each service. A port
// implements these and nothing else. Every operation may be called from any thread, and none
// throws; what is not there is answered as none.
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
  // Shared, since a host's can be large; never null.
  std::shared_ptr<const Dictionary> info;

  const Value& operator[](std::string_view key) const { return (*info)[key]; }
};

class Packages {
 public:
  virtual ~Packages() = default;
  // The host application's main package; none when it has no readable information dictionary.
  virtual std::optional<Package> mainPackage() = 0;
  // The package with this "CFBundleIdentifier", the library's own included.
  virtual std::optional<Package> packageWithIdentifier(std::string_view identifier) = 0;
  // The framework packages loaded in the process, in the platform's order.
  virtual std::vector<Package> frameworks() = 0;
  // The full path of `name`.`type` in a package, or none when there is no such file.
  virtual std::optional<std::string> resource(const Package& package, std::string_view name,
                                              std::string_view type) = 0;
  // The text of `key` in the main package's string table; a missing key reads as itself.
  virtual std::string localizedString(std::string_view key) = 0;
};

// In bytes. A larger file is neither written nor read.
inline constexpr std::size_t kLargestFile = std::size_t{64} << 20;

// What stands at a path.
struct FileContent {
  enum State {
    none,
    // It is there, or may be, but the system does not give it at the moment.
    notNow,
    // Something that is not read: a directory, or a file that is too large.
    foreign,
    whole,
  };

  State state = none;
  Bytes bytes = {};
};

class Files {
 public:
  virtual ~Files() = default;
  // The same as `contentOf` for those who need no reason.
  virtual std::optional<Bytes> read(const std::string& path) = 0;
  virtual FileContent contentOf(const std::string& path) = 0;
  // Replaces the file or leaves the old one: after a kill or a power cut there is the old or the
  // new content, never a torn or empty file. False when it was not replaced.
  virtual bool writeAtomically(const std::string& path, const Bytes& content) = 0;
  virtual bool exists(const std::string& path) = 0;
  // Whether the file can be opened for reading.
  virtual bool opens(const std::string& path) = 0;
  virtual bool remove(const std::string& path) = 0;
  // Gives the file another path on the same file system, at which nothing stands yet. False, and
  // nothing is changed, where that cannot be.
  virtual bool move(const std::string& path, const std::string& newPath) = 0;
};

class Directories {
 public:
  virtual ~Directories() = default;
  // The directory shared by the applications of a group, created when missing; none for an
  // identifier that is empty or that would leave the place of such directories.
  virtual std::optional<std::string> groupContainer(std::string_view groupIdentifier) = 0;
  // The application's own documents, created when missing.
  virtual std::optional<std::string> documents() = 0;
  virtual std::string temporary() = 0;
};

class Identity {
 public:
  virtual ~Identity() = default;
  // Upper-case UUID text, the same for all applications of the user; "" when there is none.
  virtual std::string advertisingIdentifier() = 0;
  // Upper-case UUID text, the same for one application on one device, or none.
  virtual std::optional<std::string> vendorIdentifier() = 0;
};

class Power {
 public:
  virtual ~Power() = default;
  // Switches readings on, where a platform needs that; harmless to repeat.
  virtual void enableMonitoring() = 0;
  // 0.0 to 1.0, or -1.0 when unknown.
  virtual float level() = 0;
  // 0 unknown, 1 unplugged, 2 charging, 3 full.
  virtual std::int64_t state() = 0;
};

struct MemoryPages {
  std::uint32_t free = 0;
  std::uint32_t active = 0;
  std::uint32_t inactive = 0;
  std::uint32_t wired = 0;
  // The page size that came with the statistics and the system's global one, in bytes.
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
  // In bytes; 0 when unknown.
  virtual std::uint64_t physicalMemory() = 0;
  virtual std::optional<MemoryPages> memoryPages() = 0;
  // Of the file system that holds the application's home directory, in bytes.
  virtual std::optional<FileSystemSpace> homeSpace() = 0;
};

// The features of an accessibility list, in the order in which the list names them.
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

class Surroundings {
 public:
  virtual ~Surroundings() = default;
  // The hardware code, such as a model code.
  virtual std::string machine() = 0;
  virtual std::string systemVersion() = 0;
  // The identifier of the current time zone in the time-zone database, for example
  // "America/Sao_Paulo"; follows a change of the zone while the process runs.
  virtual std::string timeZone() = 0;
  // The identifier of the current locale, for example "pt_BR".
  virtual std::string locale() = 0;
  // None when there is no cellular subscriber.
  virtual std::optional<CellularSubscriber> cellularSubscriber() = 0;
  // The network information of each supported Wi-Fi interface, in order; absent where an
  // interface has none.
  virtual std::vector<std::optional<Dictionary>> wifiInterfaces() = 0;
  // The port type of each output of the current audio route ("Headphones" for wired ones), none
  // for an unknown type; empty without a route.
  virtual std::vector<std::optional<std::string>> audioOutputs() = 0;
  virtual bool isEnabled(AccessibilityFeature feature) = 0;
};

class HostState {
 public:
  virtual ~HostState() = default;
  // 0 active, 1 inactive, 2 background.
  virtual std::int32_t applicationState() = 0;
  // What the host declares: a list of mode names, or an absent value.
  virtual Value backgroundModes() = 0;
  // 0 not determined, 1 restricted, 2 denied, 3 authorised.
  virtual std::int32_t trackingAuthorization() = 0;
};

class MainThread {
 public:
  virtual ~MainThread() = default;
  // Runs the task later, in order with the others; never on the caller's stack.
  virtual void post(std::function<void()> task) = 0;
  // Calls, at once on this thread, whoever observes `name`. `object` is the sender.
  virtual void notify(std::string_view name, const std::shared_ptr<void>& object) = 0;
  // Observes `name` until the token is destroyed.
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
  // Files of the system outside the application, under a root that can be replaced.
  std::shared_ptr<Files> systemFiles;
  std::shared_ptr<Journals> journals;
  std::shared_ptr<Directories> directories;
  std::shared_ptr<Http> http;
  std::shared_ptr<Network> network;
  std::shared_ptr<Identity> identity;
  std::shared_ptr<Power> power;
  std::shared_ptr<MemoryAndStorage> memoryAndStorage;
  std::shared_ptr<Surroundings> surroundings;
  std::shared_ptr<HostState> hostState;
  std::shared_ptr<MainThread> mainThread;
  std::shared_ptr<SystemLog> systemLog;
};

// Makes the platform that this build is for, with its defaults, once that is called. Implemented by
// platform/<name>/.
ZQM_EXPORT std::function<Platform()> defaultPlatform();

}  // namespace zqm
