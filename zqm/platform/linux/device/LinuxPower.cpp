// Reads /sys/class/power_supply.
#include "zqm/platform/linux/device/LinuxPower.h"

#include <algorithm>
#include <vector>

#include "zqm/platform/posix/Descriptor.h"
#include "zqm/platform/posix/Paths.h"

namespace zqm {
namespace {

std::vector<std::string> batteries(const std::string& root) {
  std::vector<std::string> found;
  const std::string directory = root + "/sys/class/power_supply";
  for (const std::string& name : entriesOf(directory)) {
    std::string supply = joinPath(directory, name);
    // The scope "Device" marks the battery of a mouse or a headset.
    if (readLine(supply + "/type") == "Battery" && readLine(supply + "/scope") != "Device" &&
        readLine(supply + "/present") != "0") {
      found.push_back(std::move(supply));
    }
  }
  return found;
}

}  // namespace

float LinuxPower::level() {
  std::int32_t sum = 0;
  std::int32_t count = 0;
  for (const std::string& battery : batteries(root_)) {
    const auto percent = Value(readLine(battery + "/capacity")).integerReading();
    if (!percent) continue;
    sum += std::clamp(*percent, 0, 100);
    ++count;
  }
  return count == 0 ? -1.0F : static_cast<float>(sum) / static_cast<float>(count) / 100.0F;
}

std::int64_t LinuxPower::state() {
  bool unplugged = false;
  bool full = false;
  for (const std::string& battery : batteries(root_)) {
    const auto status = readLine(battery + "/status");
    if (status == "Charging") return 2;
    unplugged = unplugged || status == "Discharging";
    // "Not charging": on mains and charged to the configured limit.
    full = full || status == "Full" || status == "Not charging";
  }
  if (unplugged) return 1;
  return full ? 3 : 0;
}

}  // namespace zqm
