// Packages: directories with an Info.plist and resources.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zqm/platform/Platform.h"
#include "zqm/platform/linux/PropertyListFiles.h"

namespace zqm {

class LinuxPackages : public Packages {
 public:
  // What is absent is found as LinuxOptions says.
  struct Places {
    std::optional<std::string> main = std::nullopt;
    std::optional<std::string> library = std::nullopt;
    std::optional<std::vector<std::string>> frameworks = std::nullopt;
    // The package that was installed with the library.
    std::string installedLibrary = {};
    // The running program's file.
    std::string executable = {};
  };

  // The log is told which file of a package cannot be read, and why.
  LinuxPackages(Places places, std::shared_ptr<SystemLog> log)
      : places_(std::move(places)), files_(std::move(log)) {}

  std::optional<Package> mainPackage() override;
  std::optional<Package> packageWithIdentifier(std::string_view identifier) override;
  // The library's own package counts among them.
  std::vector<Package> frameworks() override;
  std::optional<std::string> resource(const Package& package, std::string_view name,
                                      std::string_view type) override;
  // Of `Localizable.strings`, itself a property list.
  std::string localizedString(std::string_view key) override;

 private:
  std::string mainDirectory() const;
  std::optional<Package> package(const std::string& directory);
  std::vector<Package> besideMain();
  std::vector<std::string> directoriesIn(const std::string& parent);
  std::optional<Package> library();
  std::shared_ptr<const Dictionary> withoutSettings(const std::shared_ptr<const Dictionary>& info);

  const Places places_;
  PropertyListFiles files_;
  Mutex mutex_;
  // The main package's directory when it was listed, and what was found.
  FileStamp listed_ ZQM_GUARDED_BY(mutex_);
  std::vector<std::string> directories_ ZQM_GUARDED_BY(mutex_);
  // The information of the installed package, as it stands there and as it is handed out.
  std::shared_ptr<const Dictionary> installed_ ZQM_GUARDED_BY(mutex_);
  std::shared_ptr<const Dictionary> withoutSettings_ ZQM_GUARDED_BY(mutex_);
};

// The file of the running program; empty when the system does not say.
std::string executablePath();

// Where the package installed with the library is: beside the library's file, at its installed
// place as seen from there, or where the build put it.
std::string installedLibraryPackage();

}  // namespace zqm
