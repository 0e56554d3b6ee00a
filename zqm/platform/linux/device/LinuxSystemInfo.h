// Device model, system version, time zone and locale, as far as Linux tells them without D-Bus.
#pragma once

#include <optional>
#include <string>

#include "zqm/base/Mutex.h"
#include "zqm/platform/Platform.h"
#include "zqm/platform/posix/FileStamp.h"

namespace zqm {

class LinuxSystemInfo : public SystemInfo {
 public:
  // `root` is prepended to the path of os-release.
  explicit LinuxSystemInfo(std::string root = {}) : root_(std::move(root)) {}

  std::string machine() override;
  // Returns the distribution's version, or the kernel's release if it has none.
  std::string systemVersion() override;
  // Follows TZ and /etc/localtime. Without a change, a call costs at most one lstat of that file.
  std::string timeZone() override;
  // Returns the first locale named by LC_ALL, LC_MESSAGES, LC_CTYPE or LANG, else "en_US_POSIX".
  std::string locale() override;
  std::optional<CellularSubscriber> cellularSubscriber() override { return std::nullopt; }
  std::vector<std::optional<Dictionary>> wifiInterfaces() override { return {}; }
  std::vector<std::optional<std::string>> audioOutputs() override { return {}; }
  bool isEnabled(AccessibilityFeature) override { return false; }

 private:
  // The value of TZ or, without it, the stamp of /etc/localtime.
  struct ZoneSource {
    std::optional<std::string> variable = {};
    FileStamp file = {};

    bool operator==(const ZoneSource&) const = default;
  };

  const std::string root_;
  Mutex mutex_;
  // The zone that was found last, and where.
  std::optional<ZoneSource> zoneSource_ ZQM_GUARDED_BY(mutex_);
  std::string zone_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
