// ZQMDebugInfo: the facts about host and device that go into every report.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "zqm/base/Value.h"

namespace zqm {

// Every getter reads its source anew. An unknown fact is absent, an unknown number -1. None throws.
class ZQM_EXPORT ZQMDebugInfo {
 public:
  // From the host application's package.
  static Text getAppBundleIdentifier();
  static Text getAppVersionName();
  static Text getAppVersionCode();

  static bool isJailbreak();
  // Percent; less than one percent of storage is -1, too.
  static double getStoragePercentageFree();
  static double getMemoryPercentageFree();
  static bool isBatteryCharging();
  // -100 if unknown.
  static std::int32_t getBatteryPercentage();
  // Always absent: there is no source for it.
  static std::optional<double> getBatteryTemperature();

  static Text getSdkVersion();
  static std::string getSystemVersion();
  static std::string getDeviceManufacturer();
  // The display name, absent for hardware that is not listed, and the hardware code.
  static std::optional<std::string> getDeviceModel();
  static std::string getDeviceCodename();
};

}  // namespace zqm
