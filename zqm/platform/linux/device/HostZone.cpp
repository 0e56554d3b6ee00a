// Reads TZ, or has ICU find the zone of /etc/localtime, once for each change.
#include <unicode/timezone.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>

#include "zqm/platform/linux/device/LinuxSystemInfo.h"
#include "zqm/platform/posix/EnvironmentVariable.h"

namespace zqm {
namespace {

constexpr const char* kZoneFile = "/etc/localtime";
// In seconds.
constexpr long kMinute = 60;
constexpr long kHour = 60 * kMinute;
constexpr std::time_t kHalfYear = 182 * 24 * kHour;

bool isInDatabase(const std::string& name) {
  icu::UnicodeString canonical;
  UBool isSystem = false;
  UErrorCode error = U_ZERO_ERROR;
  icu::TimeZone::getCanonicalID(icu::UnicodeString::fromUTF8(name), canonical, isSystem, error);
  return U_SUCCESS(error) && isSystem;
}

// Seconds east of UTC outside summer time, according to the C library.
long standardOffset() {
  tzset();
  long least = LONG_MAX;
  const std::time_t now = std::time(nullptr);
  for (const std::time_t instant : {now, now + kHalfYear}) {
    std::tm local{};
    if (localtime_r(&instant, &local)) least = std::min(least, local.tm_gmtoff);
  }
  return least == LONG_MAX ? 0 : least;
}

// Names of whole-hour zones count hours west of UTC. Other offsets use a form that ICU parses.
std::string offsetZone(long offset) {
  const long hours = offset / kHour;
  const long minutes = std::abs(offset % kHour) / kMinute;
  if (hours == 0 && minutes == 0) return "Etc/UTC";
  char name[32];
  if (minutes == 0 && hours >= -12 && hours <= 14) {
    std::snprintf(name, sizeof name, "Etc/GMT%+ld", -hours);
  } else {
    std::snprintf(name, sizeof name, "GMT%c%02ld:%02ld", offset < 0 ? '-' : '+', std::abs(hours),
                  minutes);
  }
  return name;
}

// The value may be a name, a path into a zone database, or a rule such as "BRT3".
std::string zoneOfVariable(std::string_view variable) {
  if (variable.starts_with(':')) variable.remove_prefix(1);
  constexpr std::string_view database = "/zoneinfo/";
  const auto place = variable.rfind(database);
  if (place != std::string_view::npos) variable.remove_prefix(place + database.size());
  for (const std::string_view variant : {"posix/", "right/"}) {
    if (variable.starts_with(variant)) variable.remove_prefix(variant.size());
  }
  std::string name(variable);
  return isInDatabase(name) ? name : offsetZone(standardOffset());
}

std::string zoneOfFile() {
  // ICU caches the result in global variables, so only one thread at a time may call it.
  static auto& detection = *new Mutex;
  const MutexLock lock(detection);
  const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::detectHostTimeZone());
  icu::UnicodeString name;
  std::string text;
  if (zone) zone->getID(name).toUTF8String(text);
  return isInDatabase(text) ? text : offsetZone(standardOffset());
}

}  // namespace

std::string LinuxSystemInfo::timeZone() {
  ZoneSource source{environmentVariable("TZ")};
  if (!source.variable) source.file = FileStamp(kZoneFile, FileStamp::Link::itself);
  {
    const MutexLock lock(mutex_);
    if (zoneSource_ == source) return zone_;
  }
  std::string found = source.variable ? zoneOfVariable(*source.variable) : zoneOfFile();
  const MutexLock lock(mutex_);
  zoneSource_ = std::move(source);
  zone_ = found;
  return found;
}

}  // namespace zqm
