// The host application's state, as the host tells it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "zqm/platform/Platform.h"

namespace zqm {

class LinuxHostState : public HostState {
 public:
  // What LinuxOptions says about each; an empty function answers its default.
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
