// The batteries that supply the system, from sysfs.
#pragma once

#include <string>

#include "zqm/platform/Platform.h"

namespace zqm {

class LinuxPower : public Power {
 public:
  // `root` is prepended to /sys.
  explicit LinuxPower(std::string root = {}) : root_(std::move(root)) {}

  void enableMonitoring() override {}
  // The mean, if there are several batteries.
  float level() override;
  std::int64_t state() override;

 private:
  const std::string root_;
};

}  // namespace zqm
