// Dates: the shared format with <chrono> and the zone's offset, everything else with ICU.
#include "zqm/util/Date.h"

#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "zqm/base/Mutex.h"
#include "zqm/util/Icu.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;
using Zone = std::shared_ptr<const icu::TimeZone>;

Zone makeZone(const std::string& identifier) {
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(toUnicode(identifier)));
  // An unknown identifier is treated as UTC.
  if (!zone || *zone == icu::TimeZone::getUnknown()) zone.reset(icu::TimeZone::getGMT()->clone());
  return zone;
}

// Caches the last zone, because creating one costs more than everything else here.
Zone currentZone() {
  struct Cache {
    Mutex mutex;
    std::string identifier ZQM_GUARDED_BY(mutex);
    Zone zone ZQM_GUARDED_BY(mutex);
  };
  static Cache& cache = *new Cache;
  const std::string identifier = platform().systemInfo->timeZone();
  const MutexLock lock(cache.mutex);
  if (!cache.zone || cache.identifier != identifier) {
    cache.zone = makeZone(identifier);
    cache.identifier = identifier;
  }
  return cache.zone;
}

Date clamped(Date date) { return std::clamp(date, kEarliestDate, kLatestDate); }

UDate toUDate(Date date) { return static_cast<UDate>(clamped(date).time_since_epoch().count()); }

Date fromUDate(UDate date) {
  return Date(milliseconds(
      static_cast<std::int64_t>(std::clamp(date, toUDate(kEarliestDate), toUDate(kLatestDate)))));
}

// Returns the offset in whole minutes. The seconds of historical offsets (local mean time) are
// dropped, and so from the local time too: the string still denotes the same time.
minutes offsetAt(Date date, const icu::TimeZone& zone) {
  std::int32_t raw = 0;
  std::int32_t saving = 0;
  UErrorCode status = U_ZERO_ERROR;
  zone.getOffset(toUDate(date), false, raw, saving, status);
  if (U_FAILURE(status)) return minutes(0);
  return std::chrono::duration_cast<minutes>(milliseconds(raw) + milliseconds(saving));
}

// The shared format, but without a colon in the offset.
std::string writeShared(Date date, const icu::TimeZone& zone) {
  const auto instant = std::chrono::floor<seconds>(clamped(date));
  const minutes offset = offsetAt(instant, zone);
  const auto local = instant + offset;
  const auto day = std::chrono::floor<days>(local);
  const std::chrono::year_month_day gregorian(day);
  const std::chrono::hh_mm_ss time(local - day);
  const std::chrono::hh_mm_ss distance(offset);
  char text[128];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d%c%02d%02d",
                static_cast<int>(gregorian.year()), static_cast<unsigned>(gregorian.month()),
                static_cast<unsigned>(gregorian.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
                distance.is_negative() ? '-' : '+', static_cast<int>(distance.hours().count()),
                static_cast<int>(distance.minutes().count()));
  return text;
}

bool hasSharedShape(std::string_view text) {
  constexpr std::string_view kShape = "0000-00-00T00:00:00+0000";
  return std::equal(text.begin(), text.end(), kShape.begin(), kShape.end(), [](char c, char shape) {
    if (shape == '0') return c >= '0' && c <= '9';
    return c == shape || (shape == '+' && c == '-');
  });
}

std::optional<Date> readShared(std::string_view given) {
  std::string text(given.substr(0, 26));
  if (text.size() == 25 && text[22] == ':') text.erase(22, 1);
  if (!hasSharedShape(text)) return std::nullopt;
  const auto number = [&](std::size_t start, std::size_t length) {
    int value = 0;
    for (const char c : text.substr(start, length)) value = value * 10 + (c - '0');
    return value;
  };
  const std::chrono::year_month_day date =
      std::chrono::year(number(0, 4)) / number(5, 2) / number(8, 2);
  const hours hour(number(11, 2));
  const minutes minute(number(14, 2));
  const seconds second(number(17, 2));
  const hours offsetHour(number(20, 2));
  const minutes offsetMinute(number(22, 2));
  if (!date.ok() || date.year() < std::chrono::year(1) || hour >= days(1) || minute >= hours(1) ||
      second >= minutes(1) || offsetHour >= days(1) || offsetMinute >= hours(1)) {
    return std::nullopt;
  }
  const minutes offset = offsetHour + offsetMinute;
  const auto local = std::chrono::sys_days(date) + hour + minute + second;
  return clamped(text[19] == '-' ? local + offset : local - offset);
}

// Limits the count to slightly more than the whole range, where the result saturates anyway. Two
// more, because a change of the local offset can shorten the distance.
template <class Unit>
std::int64_t bounded(std::int64_t count) {
  const std::int64_t limit = std::chrono::ceil<Unit>(kLatestDate - kEarliestDate).count() + 2;
  return std::clamp(count, -limit, limit);
}

template <class Unit>
Date shifted(Date self, std::int64_t count) {
  return clamped(clamped(self) + Unit(bounded<Unit>(count)));
}

template <class Unit>
std::int64_t difference(Date self, Date other) {
  return std::chrono::duration_cast<Unit>(clamped(self) - clamped(other)).count();
}

}  // namespace

struct DateFormatter::State {
  bool shared = false;
  Zone zone;
  std::unique_ptr<icu::SimpleDateFormat> icu;
};

DateFormatter::DateFormatter(std::string_view pattern) {
  auto state = std::make_shared<State>();
  state->zone = currentZone();
  state->shared = pattern == kSharedDateFormat;
  if (!state->shared) {
    UErrorCode status = U_ZERO_ERROR;
    auto icu = std::make_unique<icu::SimpleDateFormat>(toUnicode(pattern), currentLocale(), status);
    if (U_SUCCESS(status)) {
      icu->setLenient(false);
      icu->adoptTimeZone(state->zone->clone());
      state->icu = std::move(icu);
    }
  }
  state_ = std::move(state);
}

std::string DateFormatter::format(Date date) const {
  if (state_->shared) return writeShared(date, *state_->zone);
  if (!state_->icu) return "";
  icu::UnicodeString text;
  return toUtf8(state_->icu->format(toUDate(date), text));
}

std::optional<Date> DateFormatter::parse(std::string_view text) const {
  if (state_->shared) return readShared(text);
  if (!state_->icu || text.empty() || !isValidUtf8(text)) return std::nullopt;
  const icu::UnicodeString whole = toUnicode(text);
  icu::ParsePosition position;
  const UDate date = state_->icu->parse(whole, position);
  if (position.getIndex() != whole.length() || std::isnan(date)) return std::nullopt;
  return fromUDate(date);
}

DateFormatter getDateFormatter(std::string_view pattern) { return DateFormatter(pattern); }

std::optional<Date> parse(std::string_view text) { return readShared(text); }

std::optional<Date> parse(std::string_view text, std::string_view pattern) {
  return getDateFormatter(pattern).parse(text);
}

Date addDay(Date self, std::int64_t days) {
  UErrorCode status = U_ZERO_ERROR;
  icu::GregorianCalendar calendar(*currentZone(), icu::Locale::getRoot(), status);
  calendar.setTime(toUDate(self), status);
  calendar.add(UCAL_DATE, static_cast<std::int32_t>(bounded<std::chrono::days>(days)), status);
  const UDate result = calendar.getTime(status);
  return U_SUCCESS(status) ? fromUDate(result) : shifted<std::chrono::days>(self, days);
}

Date addHour(Date self, std::int64_t hours) { return shifted<std::chrono::hours>(self, hours); }

Date addMinute(Date self, std::int64_t minutes) {
  return shifted<std::chrono::minutes>(self, minutes);
}

std::string toString(Date self) { return writeShared(self, *currentZone()).insert(22, 1, ':'); }

std::string toString(std::optional<Date> self) { return self ? toString(*self) : ""; }

std::string toString(Date self, std::string_view pattern) {
  icu::UnicodeString text = toUnicode(getDateFormatter(pattern).format(self));
  // Never into the middle of a surrogate pair.
  if (text.length() > 20) text.insert(text.getChar32Start(text.length() - 2), u':');
  return toUtf8(text);
}

bool greaterThanDate(std::optional<Date> self, std::optional<Date> other) {
  return self && other && *self >= *other;
}

bool lessThanDate(std::optional<Date> self, std::optional<Date> other) {
  return self && other && *self <= *other;
}

std::int64_t differenceInDaysToDate(Date self, Date other) {
  UErrorCode status = U_ZERO_ERROR;
  icu::GregorianCalendar calendar(*currentZone(), icu::Locale::getRoot(), status);
  calendar.setTime(toUDate(other), status);
  const std::int32_t days = calendar.fieldDifference(toUDate(self), UCAL_DATE, status);
  return U_SUCCESS(status) ? days : difference<std::chrono::days>(self, other);
}

std::int64_t differenceInHoursToDate(Date self, Date other) {
  return difference<hours>(self, other);
}

std::int64_t differenceInMinutesToDate(Date self, Date other) {
  return difference<minutes>(self, other);
}

std::string localizedZoneName(std::string_view zoneIdentifier, std::string_view localeIdentifier) {
  const std::unique_ptr<icu::TimeZone> zone(
      icu::TimeZone::createTimeZone(toUnicode(zoneIdentifier)));
  icu::Locale locale(std::string(localeIdentifier).c_str());
  if (locale.isBogus()) locale = icu::Locale::getRoot();
  icu::UnicodeString name;
  zone->getDisplayName(false, icu::TimeZone::LONG, locale, name);
  return toUtf8(name);
}

}  // namespace zqm
