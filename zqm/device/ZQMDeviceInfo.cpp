// The device probes, implemented with the platform's services.
#include "zqm/device/ZQMDeviceInfo.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "zqm/base/Exception.h"
#include "zqm/core/settings/Resources.h"
#include "zqm/core/settings/ZQMEnvironmentUtil.h"
#include "zqm/platform/Process.h"
#include "zqm/util/Date.h"

namespace zqm {
namespace {

constexpr double kUnknown = -1.0;
constexpr double kMiB = 1048576.0;
constexpr double kGiB = 1073741824.0;
constexpr const char* kSimulatorModel = "Simulador";
constexpr std::int32_t kTrackingAuthorized = 3;

template <class Number>
Number positiveOrUnknown(Number number) {
  return number > 0 ? number : -1;
}

// Truncates the fraction; saturates at the range of `Integer`, and NaN becomes 0.
template <class Integer>
Integer truncated(double number) {
  constexpr auto kLowest = std::numeric_limits<Integer>::min();
  if (std::isnan(number)) return 0;
  if (number <= static_cast<double>(kLowest)) return kLowest;
  // The largest 64-bit integer is no double, but the next higher number is.
  if (number >= -static_cast<double>(kLowest)) return std::numeric_limits<Integer>::max();
  return static_cast<Integer>(number);
}

// Whole percent of positive byte counts, truncated and then narrowed to single precision.
double wholePercent(std::int64_t part, std::int64_t whole) {
  constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max() / 100;
  const std::int64_t percent =
      part <= kLargest
          ? part * 100 / whole
          : truncated<std::int64_t>(static_cast<double>(part) * 100.0 / static_cast<double>(whole));
  return positiveOrUnknown(static_cast<double>(static_cast<float>(percent)));
}

bool anyExists(Files& files) {
  constexpr const char* kPaths[] = {"/Applications/Cydia.app",
                                    "/Library/MobileSubstrate/MobileSubstrate.dylib",
                                    "/bin/bash",
                                    "/usr/sbin/sshd",
                                    "/etc/apt",
                                    "/private/var/lib/apt/"};
  return std::ranges::any_of(kPaths, [&](const char* path) { return files.exists(path); });
}

// Intentionally not the list of `anyExists`: another order, and one path fewer.
bool anyOpens(Files& files) {
  constexpr const char* kPaths[] = {"/bin/bash", "/Applications/Cydia.app",
                                    "/Library/MobileSubstrate/MobileSubstrate.dylib",
                                    "/usr/sbin/sshd", "/etc/apt"};
  return std::ranges::any_of(kPaths, [&](const char* path) { return files.opens(path); });
}

// A file that was written is kept; only a failed attempt is cleaned up.
bool canWriteOutside(Files& files) {
  constexpr const char* kPath = "/private/jailbreak.txt";
  if (files.writeAtomically(kPath, toBytes("Jailbreak Test."))) return true;
  files.remove(kPath);
  return false;
}

Power& monitoredPower() {
  Power& power = *platform().power;
  power.enableMonitoring();
  return power;
}

}  // namespace

std::string ZQMDeviceInfo::getPlatform() { return "IOS"; }

std::string ZQMDeviceInfo::deviceManufacturer() { return "Apple Inc."; }

std::string ZQMDeviceInfo::deviceCode() { return platform().systemInfo->machine(); }

std::optional<std::string> ZQMDeviceInfo::deviceModel() {
  try {
    return propertyListOf(kLibraryIdentifier, "Devices")[deviceCode()].string();
  } catch (const Exception&) {
    return std::nullopt;
  }
}

std::string ZQMDeviceInfo::systemVersion() { return platform().systemInfo->systemVersion(); }

std::optional<std::string> ZQMDeviceInfo::getUDID() {
  return platform().identity->vendorIdentifier();
}

std::string ZQMDeviceInfo::advertisingId() { return platform().identity->advertisingIdentifier(); }

bool ZQMDeviceInfo::hasAdvertising() {
  return platform().hostState->trackingAuthorization() == kTrackingAuthorized;
}

std::optional<std::string> ZQMDeviceInfo::getCarrier() {
  const auto subscriber = platform().systemInfo->cellularSubscriber();
  return subscriber ? subscriber->carrierName : "";
}

std::string ZQMDeviceInfo::getTimeZone() {
  const std::string zone = platform().systemInfo->timeZone();
  return localizedZoneName(zone, getLocale()).append(", ").append(zone);
}

std::string ZQMDeviceInfo::getLocale() { return platform().systemInfo->locale(); }

std::vector<std::string> ZQMDeviceInfo::getCapabilitiesAccessibility() {
  using Feature = AccessibilityFeature;
  constexpr std::pair<Feature, const char*> kNames[] = {
      {Feature::assistiveTouch, "ASSISTIVE_TOUCH"},
      {Feature::voiceOver, "VOICE_OVER"},
      {Feature::switchControl, "SWITCH_CONTROL"},
      {Feature::shakeToUndo, "SHAKE_TO_UNDO"},
      {Feature::closedCaptioning, "CLOSED_CAPTIONING"},
      {Feature::boldText, "BOLD_TEXT"},
      {Feature::darkerSystemColors, "DARKER_SYSTEM_COLORS"},
      {Feature::grayscale, "GRAYSCALE"},
      {Feature::guidedAccess, "GUIDED_ACCESS"},
      {Feature::invertColors, "INVERT_COLORS"},
      {Feature::monoAudio, "MONO_AUDIO"},
      {Feature::reduceMotion, "REDUCE_MOTION"},
      {Feature::reduceTransparency, "REDUCE_TRANSPARENCY"},
      {Feature::speakScreen, "SPEAK_SCREEN"},
      {Feature::speakSelection, "SPEAK_SELECTION"},
  };
  std::vector<std::string> names;
  for (const auto& [feature, name] : kNames) {
    if (platform().systemInfo->isEnabled(feature)) names.emplace_back(name);
  }
  return names;
}

bool ZQMDeviceInfo::isJailbreak() {
  if (deviceModel() == kSimulatorModel) return false;
  Files& files = *platform().systemFiles;
  return anyExists(files) || anyOpens(files) || canWriteOutside(files);
}

std::int64_t ZQMDeviceInfo::headphoneState() {
  const auto outputs = platform().systemInfo->audioOutputs();
  // Inverted: 0 means that headphones are connected.
  return !outputs.empty() && outputs.front() == "Headphones" ? 0 : 1;
}

std::optional<Dictionary> ZQMDeviceInfo::wifiConnected() {
  std::optional<Dictionary> last;
  for (auto& information : platform().systemInfo->wifiInterfaces()) {
    last = std::move(information);
    if (last && !last->empty()) break;
  }
  return last;
}

std::int64_t ZQMDeviceInfo::batteryLevel() {
  return truncated<std::int64_t>(monitoredPower().level() * 100.0F);
}

std::int64_t ZQMDeviceInfo::batteryStatus() { return monitoredPower().state(); }

bool ZQMDeviceInfo::isBatteryCharging() {
  const std::int64_t state = batteryStatus();
  return state == 2 || state == 3;
}

std::int64_t ZQMDeviceInfo::batteryTemperature() { return 0; }

std::int64_t ZQMDeviceInfo::longDiskSpace() {
  const auto space = platform().memoryAndStorage->homeSpace();
  return space ? positiveOrUnknown(space->size) : -1;
}

std::int64_t ZQMDeviceInfo::longFreeDiskSpace() {
  const auto space = platform().memoryAndStorage->homeSpace();
  return space ? positiveOrUnknown(space->free) : -1;
}

double ZQMDeviceInfo::formatMemory(std::int64_t bytes) {
  const auto number = static_cast<double>(bytes);
  if (number / kGiB >= 1) return number / kGiB;
  if (number / kMiB >= 1) return number / kMiB;
  return positiveOrUnknown(number);
}

double ZQMDeviceInfo::userDiskSpaceTotal() { return formatMemory(longDiskSpace()); }

double ZQMDeviceInfo::userDiskSpaceUsed(bool percent) {
  const std::int64_t total = longDiskSpace();
  const std::int64_t free = longFreeDiskSpace();
  if (total < 1 || free < 1 || total <= free) return kUnknown;
  return percent ? wholePercent(total - free, total) : formatMemory(total - free);
}

double ZQMDeviceInfo::userDiskSpaceFree(bool percent) {
  const std::int64_t free = longFreeDiskSpace();
  if (!percent || free < 1) return formatMemory(free);
  const std::int64_t total = longDiskSpace();
  return total < 1 ? kUnknown : wholePercent(free, total);
}

double ZQMDeviceInfo::userMemoryTotal() {
  const auto bytes = static_cast<double>(platform().memoryAndStorage->physicalMemory());
  const std::int64_t megabytes = truncated<std::int32_t>(bytes / 1024 / 1024);
  const std::int64_t rest = megabytes % 256;
  const std::int64_t rounded = megabytes - rest + (rest < 128 ? 0 : 256);
  return positiveOrUnknown(static_cast<double>(rounded));
}

double ZQMDeviceInfo::userMemoryUsed(bool percent) {
  const auto pages = platform().memoryAndStorage->memoryPages();
  if (!pages) return kUnknown;
  // Only 32 bits, so the number wraps at 4 GiB.
  const std::uint32_t used = (pages->active + pages->inactive + pages->wired) * pages->hostPageSize;
  if (!percent) return positiveOrUnknown(static_cast<double>(used) / 1024 / 1024);
  return positiveOrUnknown((used >> 20) * 100.0 / truncated<std::int32_t>(userMemoryTotal()));
}

double ZQMDeviceInfo::userMemoryFree(bool percent) {
  const auto pages = platform().memoryAndStorage->memoryPages();
  if (!pages) return kUnknown;
  const double free = static_cast<double>(pages->globalPageSize * pages->free) / 1024 / 1024;
  return positiveOrUnknown(percent ? 100.0 * free / userMemoryTotal() : free);
}

}  // namespace zqm
