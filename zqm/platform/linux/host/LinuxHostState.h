// The host application's state, as reported by the host.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "zqm/platform/Platform.h"

namespace zqm {

class LinuxHostState : public HostState {
 public:
  // See LinuxOptions. An empty function gives its default.
  struct Sources {
    std::function<std::int32_t()> applicationState = nullptr;
    std::function<Value()> backgroundModes = nullptr;
    std::function<std::int32_t()> trackingAuthorization = nullptr;
  };

  LinuxHostState(Sources sources, std::shared_ptr<Packages> packages)
      : sources_(std::move(sources)), packages_(std::move(packages)) {}

  std::int32_t applicationState() override;
  Value backgroundModes() override;
  std::int32_t trackingAuthorization() override;

 private:
  const Sources sources_;
  const std::shared_ptr<Packages> packages_;
};

}  // namespace zqm
