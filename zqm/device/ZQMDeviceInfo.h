// ZQMDeviceInfo: probes that read one fact each about the device and the running system.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "zqm/base/Value.h"

namespace zqm {

// Every probe answers on the calling thread, keeps nothing between calls and never throws. A size
// or share that cannot be read is -1.
class ZQM_EXPORT ZQMDeviceInfo {
 public:
  // What the backend knows this family of libraries by, whatever the platform.
  static std::string getPlatform();
  static std::string deviceManufacturer();
  // The hardware code, and its display name in the table "Devices"; none when it is not listed.
  static std::string deviceCode();
  static std::optional<std::string> deviceModel();
  static std::string systemVersion();
  // Upper-case UUID texts: of this application on this device, and of the user ("" when none).
  static std::optional<std::string> getUDID();
  static std::string advertisingId();
  // Whether the user has authorised tracking.
  static bool hasAdvertising();
  // "" without a cellular subscriber; none when the subscriber's carrier has no name.
  static std::optional<std::string> getCarrier();
  // The zone's standard name in the current locale, a comma, a blank, and its identifier.
  static std::string getTimeZone();
  static std::string getLocale();
  // The names of the features in use, in a fixed order: a reordered list counts as a change.
  static std::vector<std::string> getCapabilitiesAccessibility();
  // Whether the system shows signs of modification.
  static bool isJailbreak();
  // 0 when the first audio output is wired headphones, 1 in every other case.
  static std::int64_t headphoneState();
  // The information of the first Wi-Fi interface that has any, otherwise that of the last one.
  static std::optional<Dictionary> wifiConnected();

  // Percent; -100 when unknown.
  static std::int64_t batteryLevel();
  // 0 unknown, 1 unplugged, 2 charging, 3 full.
  static std::int64_t batteryStatus();
  static bool isBatteryCharging();
  // Always 0: nothing tells it.
  static std::int64_t batteryTemperature();

  // Bytes of the file system that holds the application's home directory.
  static std::int64_t longDiskSpace();
  static std::int64_t longFreeDiskSpace();
  // A count of bytes in GiB from 1 GiB on, in MiB from 1 MiB on, otherwise in bytes.
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
