// Dates: the one text form in which they are stored and sent, other patterns, and arithmetic in
// the local calendar. Zone and locale are the platform's at the time of each call.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Export.h"
#include "zqm/base/Value.h"

namespace zqm {

// The shared form: ASCII digits, the Gregorian year, the local offset from UTC. Written with a
// colon in the offset, read with and without.
inline constexpr std::string_view kSharedDateFormat = "yyyy-MM-dd'T'HH:mm:ssZ";

// What arithmetic saturates at and what other dates are written as: within a day of the years 1
// and 9999, so that the local year has four digits in every zone.
inline constexpr Date kEarliestDate{std::chrono::milliseconds(-62135510400000)};
inline constexpr Date kLatestDate{std::chrono::milliseconds(253402214399999)};

// A pattern with the locale and the zone that were current when it was made. May be used from
// several threads.
class ZQM_EXPORT DateFormatter {
 public:
  explicit DateFormatter(std::string_view pattern);

  // "" when the pattern is none.
  std::string format(Date date) const;
  // None unless the whole text is a date of the pattern.
  std::optional<Date> parse(std::string_view text) const;

 private:
  struct State;
  std::shared_ptr<const State> state_;
};

ZQM_EXPORT DateFormatter getDateFormatter(std::string_view pattern);

ZQM_EXPORT std::optional<Date> parse(std::string_view text);
ZQM_EXPORT std::optional<Date> parse(std::string_view text, std::string_view pattern);

// A day is a calendar day: across a change of the local offset it keeps the time of day.
ZQM_EXPORT Date addDay(Date self, std::int64_t days);
ZQM_EXPORT Date addHour(Date self, std::int64_t hours);
ZQM_EXPORT Date addMinute(Date self, std::int64_t minutes);

ZQM_EXPORT std::string toString(Date self);
// "" for an absent date.
ZQM_EXPORT std::string toString(std::optional<Date> self);
// A result of more than 20 characters gets a colon before its last two, whatever the pattern.
ZQM_EXPORT std::string toString(Date self, std::string_view pattern);

// Both include equality; an absent date is neither.
ZQM_EXPORT bool greaterThanDate(std::optional<Date> self, std::optional<Date> other);
ZQM_EXPORT bool lessThanDate(std::optional<Date> self, std::optional<Date> other);

// Whole units from `other` to `self`, cut towards zero; negative when `self` is earlier.
ZQM_EXPORT std::int64_t differenceInDaysToDate(Date self, Date other);
ZQM_EXPORT std::int64_t differenceInHoursToDate(Date self, Date other);
ZQM_EXPORT std::int64_t differenceInMinutesToDate(Date self, Date other);

// The standard long name of a zone of the time-zone database in the language of a locale; for a
// zone that has no name there, its offset, such as "GMT-03:00".
std::string localizedZoneName(std::string_view zoneIdentifier, std::string_view localeIdentifier);

}  // namespace zqm
