// Packages: directories with an Info.plist and resources.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zqm/platform/Platform.h"
#include "zqm/platform/linux/files/PropertyListFiles.h"

namespace zqm {

class LinuxPackages : public Packages {
 public:
  // Absent values are found as described in LinuxOptions.
  struct Places {
    std::optional<std::string> main = std::nullopt;
    std::optional<std::string> library = std::nullopt;
    std::optional<std::vector<std::string>> frameworks = std::nullopt;
    // The package installed with the library.
    std::string installedLibrary = {};
    // The running program's file.
    std::string executable = {};
  };

  // A file of a package that cannot be read is reported to `log`, with the reason.
  LinuxPackages(Places places, std::shared_ptr<SystemLog> log)
      : places_(std::move(places)), files_(std::move(log)) {}

  std::optional<Package> mainPackage() override;
  std::optional<Package> packageWithIdentifier(std::string_view identifier) override;
  // Includes the library's own package.
  std::vector<Package> frameworks() override;
  std::optional<std::string> resource(const Package& package, std::string_view name,
                                      std::string_view type) override;
  // Reads the main package's `Localizable.strings`, which is a property list.
  std::string localizedString(std::string_view key) override;

 private:
  std::string mainDirectory() const;
  std::optional<Package> package(const std::string& directory);
  std::vector<Package> packages(const std::vector<std::string>& directories);
  std::vector<std::string> besideMain();
  std::optional<Package> library();
  std::shared_ptr<const Dictionary> withoutSettings(const std::shared_ptr<const Dictionary>& info);

  const Places places_;
  PropertyListFiles files_;
  Mutex mutex_;
  // The main package's directory when it was last listed, and the directories found in it.
  FileStamp listed_ ZQM_GUARDED_BY(mutex_);
  std::vector<std::string> directories_ ZQM_GUARDED_BY(mutex_);
  // The installed package's information: as read, and as returned, without its settings.
  std::shared_ptr<const Dictionary> installed_ ZQM_GUARDED_BY(mutex_);
  std::shared_ptr<const Dictionary> withoutSettings_ ZQM_GUARDED_BY(mutex_);
};

// Returns the running program's file; empty if the system does not tell.
std::string executablePath();

// Returns the package installed with the library: beside the library's file, in the data directory
// as seen from there, in the configured data directory, or where the build put it.
std::string installedLibraryPackage();

}  // namespace zqm
