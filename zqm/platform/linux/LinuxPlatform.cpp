// Creates the Linux services.
#include "zqm/platform/linux/LinuxPlatform.h"

#include "zqm/platform/curl/CurlHttp.h"
#include "zqm/platform/linux/device/LinuxIdentity.h"
#include "zqm/platform/linux/device/LinuxMemoryAndStorage.h"
#include "zqm/platform/linux/device/LinuxPower.h"
#include "zqm/platform/linux/device/LinuxSystemInfo.h"
#include "zqm/platform/linux/files/LinuxDirectories.h"
#include "zqm/platform/linux/files/LinuxFiles.h"
#include "zqm/platform/linux/files/LinuxJournals.h"
#include "zqm/platform/linux/files/LinuxPackages.h"
#include "zqm/platform/linux/host/LinuxHostState.h"
#include "zqm/platform/linux/host/LinuxMainThread.h"
#include "zqm/platform/linux/host/LinuxSystemLog.h"
#include "zqm/platform/linux/network/LinuxNetwork.h"
#include "zqm/platform/posix/Paths.h"

namespace zqm {
namespace {

class LinuxClock : public Clock {
 public:
  Date now() override {
    return std::chrono::floor<Date::duration>(std::chrono::system_clock::now());
  }
};

std::function<std::optional<std::string>()> bundleIdentifier(std::shared_ptr<Packages> packages) {
  return [packages = std::move(packages)] {
    const auto main = packages->mainPackage();
    return main ? (*main)["CFBundleIdentifier"].string() : std::nullopt;
  };
}

// Without a root from the host, an empty directory: what a desktop system contains does not show
// that it was modified, and nothing is written outside the platform's own directory.
LinuxFiles::Root systemRoot(std::optional<std::string> handed,
                            std::shared_ptr<LinuxDirectories> directories) {
  return [handed = std::move(handed), directories = std::move(directories)] {
    if (handed) return handed;
    auto root = directories->own();
    if (root) root = joinPath(*root, "system");
    return root && makeDirectories(*root) ? root : std::nullopt;
  };
}

CurlHttpOptions httpOptions(const LinuxOptions& options, std::string temporary) {
  CurlHttpOptions result{.downloadDirectory = std::move(temporary)};
  if (options.authoritiesFile) result.authoritiesFile = *options.authoritiesFile;
  if (options.proxy) result.proxy = *options.proxy;
  return result;
}

Platform make(const LinuxOptions& options, const UserVariables& variables) {
  const auto systemLog = std::make_shared<LinuxSystemLog>();
  const auto packages = std::make_shared<LinuxPackages>(
      LinuxPackages::Places{options.mainPackage, options.libraryPackage, options.frameworkPackages,
                            installedLibraryPackage(), executablePath()},
      systemLog);
  const auto files = std::make_shared<LinuxFiles>();
  // Looked up once, because a change while the process runs would split the user's data.
  std::optional<std::string> userData = options.userDataDirectory;
  if (!userData) userData = userDataDirectory(variables);
  const auto identifier = bundleIdentifier(packages);
  const auto directories = std::make_shared<LinuxDirectories>(userData, identifier);

  Platform platform;
  platform.clock = std::make_shared<LinuxClock>();
  platform.packages = packages;
  platform.files = files;
  platform.systemFiles =
      std::make_shared<LinuxFiles>(systemRoot(options.systemFileRoot, directories));
  platform.journals = std::make_shared<LinuxJournals>();
  platform.directories = directories;
  platform.http = std::make_shared<CurlHttp>(httpOptions(options, directories->temporary()));
  platform.network = std::make_shared<LinuxNetwork>();
  platform.identity = std::make_shared<LinuxIdentity>(
      LinuxIdentity::Sources{options.advertisingIdentifier,
                             [directories] { return directories->own(); }, identifier, ""},
      files);
  platform.power = std::make_shared<LinuxPower>();
  platform.memoryAndStorage = std::make_shared<LinuxMemoryAndStorage>(homeDirectory(variables));
  platform.systemInfo = std::make_shared<LinuxSystemInfo>();
  platform.hostState = std::make_shared<LinuxHostState>(
      LinuxHostState::Sources{options.applicationState, options.backgroundModes,
                              options.trackingAuthorization},
      packages);
  platform.mainThread = std::make_shared<LinuxMainThread>(options.postToMainThread);
  platform.systemLog = systemLog;
  return platform;
}

}  // namespace

std::function<Platform()> linuxPlatform(LinuxOptions options) {
  return [options = std::move(options), variables = UserVariables()] {
    return make(options, variables);
  };
}

Platform makeLinuxPlatform(const LinuxOptions& options) { return linuxPlatform(options)(); }

std::function<Platform()> defaultPlatform() { return linuxPlatform({}); }

}  // namespace zqm
