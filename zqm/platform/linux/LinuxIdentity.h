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
    // The host's own advertising identifier; empty where the platform keeps one.
    std::function<std::string()> advertisingIdentifier = nullptr;
    // Where the platform's identifier is kept; none when there is no such place.
    std::function<std::optional<std::string>()> directory = nullptr;
    std::function<std::optional<std::string>()> bundleIdentifier = nullptr;
    // Where /etc/machine-id is looked for.
    std::string root = {};
  };

  LinuxIdentity(Sources sources, std::shared_ptr<Files> files)
      : sources_(std::move(sources)), files_(std::move(files)) {}

  // Read from its file at each call, so that deleting that file resets it.
  std::string advertisingIdentifier() override;
  std::optional<std::string> vendorIdentifier() override;

 private:
  std::string keptIdentifier();

  const Sources sources_;
  const std::shared_ptr<Files> files_;
};

}  // namespace zqm
