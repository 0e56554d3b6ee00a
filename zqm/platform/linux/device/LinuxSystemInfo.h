// Device model, system version, time zone and locale, as far as Linux tells them without D-Bus.
#pragma once

#include <string>

#include "zqm/platform/Platform.h"
#include "zqm/platform/linux/device/HostZone.h"

namespace zqm {

class LinuxSystemInfo : public SystemInfo {
 public:
  // `root` is prepended to the path of os-release.
  explicit LinuxSystemInfo(std::string root = {}) : root_(std::move(root)) {}

  std::string machine() override;
  // Returns the distribution's version, or the kernel's release if it has none.
  std::string systemVersion() override;
  std::string timeZone() override { return zone_.identifier(); }
  // Returns the first locale named by LC_ALL, LC_MESSAGES, LC_CTYPE or LANG, else "en_US_POSIX".
  std::string locale() override;
  std::optional<CellularSubscriber> cellularSubscriber() override;
  std::vector<std::optional<Dictionary>> wifiInterfaces() override;
  std::vector<std::optional<std::string>> audioOutputs() override;
  bool isEnabled(AccessibilityFeature feature) override;

 private:
  const std::string root_;
  HostZone zone_;
};

}  // namespace zqm
