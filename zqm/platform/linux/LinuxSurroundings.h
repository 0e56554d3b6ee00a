// What is around the device, as far as Linux says it without a message bus.
#pragma once

#include <string>

#include "zqm/platform/Platform.h"
#include "zqm/platform/linux/HostZone.h"

namespace zqm {

class LinuxSurroundings : public Surroundings {
 public:
  // `root` stands in front of the system's release file.
  explicit LinuxSurroundings(std::string root = {}) : root_(std::move(root)) {}

  std::string machine() override;
  // The distribution's version, or the kernel's release where it has none.
  std::string systemVersion() override;
  std::string timeZone() override { return zone_.identifier(); }
  // Of LC_ALL, LC_MESSAGES, LC_CTYPE or LANG, the first that names a locale.
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
