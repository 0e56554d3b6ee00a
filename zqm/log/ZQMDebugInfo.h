// ZQMDebugInfo: the facts about host and device that go into every report.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "zqm/base/Value.h"

namespace zqm {

// Every getter reads its source afresh; what is not known is absent, a number -1. None throws.
class ZQM_EXPORT ZQMDebugInfo {
 public:
  // Of the host application, as its package states them.
  static Text getAppBundleIdentifier();
  static Text getAppVersionName();
  static Text getAppVersionCode();

  static bool isJailbreak();
  // Percent; a share below one percent of storage is -1, too.
  static double getStoragePercentageFree();
  static double getMemoryPercentageFree();
  static bool isBatteryCharging();
  // -100 when unknown.
  static std::int32_t getBatteryPercentage();
  // Always absent: nothing tells it.
  static std::optional<double> getBatteryTemperature();

  static Text getSdkVersion();
  static std::string getSystemVersion();
  static std::string getDeviceManufacturer();
  // The display name, absent for hardware that is not listed, and the hardware code.
  static std::optional<std::string> getDeviceModel();
  static std::string getDeviceCodename();
};

}  // namespace zqm
