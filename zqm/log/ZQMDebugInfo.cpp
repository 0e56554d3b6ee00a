// The sources of the facts.
#include "zqm/log/ZQMDebugInfo.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "zqm/core/settings/Resources.h"
#include "zqm/device/ZQMDeviceInfo.h"

namespace zqm {

Text ZQMDebugInfo::getAppBundleIdentifier() { return hostInformation("CFBundleIdentifier"); }

Text ZQMDebugInfo::getAppVersionName() { return hostInformation("CFBundleShortVersionString"); }

Text ZQMDebugInfo::getAppVersionCode() { return hostInformation("CFBundleVersion"); }

bool ZQMDebugInfo::isJailbreak() { return ZQMDeviceInfo::isJailbreak(); }

double ZQMDebugInfo::getStoragePercentageFree() { return ZQMDeviceInfo::userDiskSpaceFree(true); }

double ZQMDebugInfo::getMemoryPercentageFree() { return ZQMDeviceInfo::userMemoryFree(true); }

bool ZQMDebugInfo::isBatteryCharging() { return ZQMDeviceInfo::isBatteryCharging(); }

std::int32_t ZQMDebugInfo::getBatteryPercentage() {
  using Limits = std::numeric_limits<std::int32_t>;
  const double percent = std::round(static_cast<float>(ZQMDeviceInfo::batteryLevel()));
  return static_cast<std::int32_t>(std::clamp<double>(percent, Limits::min(), Limits::max()));
}

std::optional<double> ZQMDebugInfo::getBatteryTemperature() { return std::nullopt; }

Text ZQMDebugInfo::getSdkVersion() { return libraryVersion(); }

std::string ZQMDebugInfo::getSystemVersion() { return ZQMDeviceInfo::systemVersion(); }

std::string ZQMDebugInfo::getDeviceManufacturer() { return ZQMDeviceInfo::deviceManufacturer(); }

std::optional<std::string> ZQMDebugInfo::getDeviceModel() { return ZQMDeviceInfo::deviceModel(); }

std::string ZQMDebugInfo::getDeviceCodename() { return ZQMDeviceInfo::deviceCode(); }

}  // namespace zqm
