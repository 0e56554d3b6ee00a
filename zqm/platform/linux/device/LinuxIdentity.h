// Identifiers of the user and of the device.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "zqm/platform/Platform.h"

namespace zqm {

class LinuxIdentity : public Identity {
 public:
  struct Sources {
    // Returns the host's own advertising identifier; without it, the platform keeps a random one.
    std::function<std::string()> advertisingIdentifier = nullptr;
    // Returns the directory of the platform's identifier, or std::nullopt if there is none.
    std::function<std::optional<std::string>()> directory = nullptr;
    std::function<std::optional<std::string>()> bundleIdentifier = nullptr;
    // Prepended to the paths of the machine's identifier (/etc/machine-id).
    std::string root = {};
  };

  LinuxIdentity(Sources sources, std::shared_ptr<Files> files)
      : sources_(std::move(sources)), files_(std::move(files)) {}

  // The platform's identifier is read from its file at each call: deleting the file resets it.
  std::string advertisingIdentifier() override;
  std::optional<std::string> vendorIdentifier() override;

 private:
  std::string keptIdentifier();

  const Sources sources_;
  const std::shared_ptr<Files> files_;
};

}  // namespace zqm
