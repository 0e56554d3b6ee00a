// ZQMDeviceInfo: probes that each read one fact about the device or the running system.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "zqm/base/Value.h"

namespace zqm {

// Every probe runs on the calling thread, caches nothing and never throws. A size or share that
// cannot be read is -1.
class ZQM_EXPORT ZQMDeviceInfo {
 public:
  // Always "IOS", the name under which the backend knows these libraries on every platform.
  static std::string getPlatform();
  static std::string deviceManufacturer();
  // The hardware code, and its display name in the table "Devices", if it is listed.
  static std::string deviceCode();
  static std::optional<std::string> deviceModel();
  static std::string systemVersion();
  // Upper-case UUIDs: of this application on this device, and of the user ("" if there is none).
  static std::optional<std::string> getUDID();
  static std::string advertisingId();
  // Whether the user has authorised tracking.
  static bool hasAdvertising();
  // "" without a cellular subscriber; std::nullopt if the subscriber's carrier has no name.
  static std::optional<std::string> getCarrier();
  // The zone's standard name in the current locale, a comma, a space, and its identifier.
  static std::string getTimeZone();
  static std::string getLocale();
  // The enabled features, in a fixed order, because a reordered list would be treated as changed.
  static std::vector<std::string> getCapabilitiesAccessibility();
  // Whether the system shows signs of modification.
  static bool isJailbreak();
  // 0 if the first audio output is wired headphones, 1 otherwise.
  static std::int64_t headphoneState();
  // The information of the first Wi-Fi interface that has any, else of the last interface.
  static std::optional<Dictionary> wifiConnected();

  // Percent; -100 if unknown.
  static std::int64_t batteryLevel();
  // 0 unknown, 1 unplugged, 2 charging, 3 full.
  static std::int64_t batteryStatus();
  static bool isBatteryCharging();
  // Always 0: there is no source for it.
  static std::int64_t batteryTemperature();

  // Bytes of the file system that holds the application's home directory.
  static std::int64_t longDiskSpace();
  static std::int64_t longFreeDiskSpace();
  // Converts bytes to GiB from 1 GiB on, to MiB from 1 MiB on; smaller numbers stay bytes.
  static double formatMemory(std::int64_t bytes);
  // Scaled by `formatMemory`, or in whole percent. A share below one percent is -1, too.
  static double userDiskSpaceTotal();
  static double userDiskSpaceUsed(bool percent);
  static double userDiskSpaceFree(bool percent);
  // In MiB, or in percent of the total. The total is rounded to a multiple of 256.
  static double userMemoryTotal();
  static double userMemoryUsed(bool percent);
  static double userMemoryFree(bool percent);
};

}  // namespace zqm
