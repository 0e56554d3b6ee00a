// Dates: the shared string format in which they are stored and sent, other patterns, and arithmetic
// in the local calendar. Time zone and locale are the platform's at the time of each call.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Export.h"
#include "zqm/base/Value.h"

namespace zqm {

// The shared format: ASCII digits, Gregorian year, local offset from UTC. `toString` writes the
// offset with a colon, reading accepts both. Example: "2024-02-29T13:45:00-03:00".
inline constexpr std::string_view kSharedDateFormat = "yyyy-MM-dd'T'HH:mm:ssZ";

// Arithmetic saturates at these dates, and dates beyond them are written as these: within a day of
// the years 1 and 9999, so that the local year has four digits in every zone.
inline constexpr Date kEarliestDate{std::chrono::milliseconds(-62135510400000)};
inline constexpr Date kLatestDate{std::chrono::milliseconds(253402214399999)};

// Formats and parses dates by a pattern, with the locale and the time zone that were current at its
// construction. Thread-safe.
class ZQM_EXPORT DateFormatter {
 public:
  explicit DateFormatter(std::string_view pattern);

  // Returns "" if the pattern is invalid.
  std::string format(Date date) const;
  // Returns std::nullopt unless the pattern matches the whole text.
  std::optional<Date> parse(std::string_view text) const;

 private:
  struct State;
  std::shared_ptr<const State> state_;
};

ZQM_EXPORT DateFormatter getDateFormatter(std::string_view pattern);

ZQM_EXPORT std::optional<Date> parse(std::string_view text);
ZQM_EXPORT std::optional<Date> parse(std::string_view text, std::string_view pattern);

// Adds calendar days: the local time of day is kept across a change of the local offset.
ZQM_EXPORT Date addDay(Date self, std::int64_t days);
ZQM_EXPORT Date addHour(Date self, std::int64_t hours);
ZQM_EXPORT Date addMinute(Date self, std::int64_t minutes);

ZQM_EXPORT std::string toString(Date self);
// Returns "" for an absent date.
ZQM_EXPORT std::string toString(std::optional<Date> self);
// Inserts a colon before the last two characters of a result of more than 20, whatever the pattern.
ZQM_EXPORT std::string toString(Date self, std::string_view pattern);

// Both return true for equal dates, and false if either is absent.
ZQM_EXPORT bool greaterThanDate(std::optional<Date> self, std::optional<Date> other);
ZQM_EXPORT bool lessThanDate(std::optional<Date> self, std::optional<Date> other);

// Whole units from `other` to `self`, truncated towards zero; negative if `self` is earlier.
ZQM_EXPORT std::int64_t differenceInDaysToDate(Date self, Date other);
ZQM_EXPORT std::int64_t differenceInHoursToDate(Date self, Date other);
ZQM_EXPORT std::int64_t differenceInMinutesToDate(Date self, Date other);

// Returns the standard long name of a zone of the time zone database in the language of a locale,
// or its offset, such as "GMT-03:00", if it has no name there.
ZQM_EXPORT std::string localizedZoneName(std::string_view zoneIdentifier,
                                         std::string_view localeIdentifier);

}  // namespace zqm
