// The shared date form, other patterns, and arithmetic in the local calendar.
#include "zqm/util/Date.h"

#include <unicode/smpdtfmt.h>

#include <random>
#include <thread>

#include "tests/support/FakePlatform.h"

namespace zqm {
namespace {

using std::chrono::milliseconds;
using testing::kNow;

class DateTest : public testing::Fixture {
 protected:
  void setZone(const char* identifier) { fakes.surroundings->zone = identifier; }
  void setLocale(const char* identifier) { fakes.surroundings->language = identifier; }
  static Date at(const char* text) { return parse(text).value(); }
};

TEST_F(DateTest, SharedFormHasTheLocalOffsetWithAColon) {
  EXPECT_EQ(toString(kNow + milliseconds(999)), "2024-03-05T15:10:00-03:00");
  EXPECT_EQ(toString(kNow, kSharedDateFormat), "2024-03-05T15:10:00-03:00");
  EXPECT_EQ(getDateFormatter(kSharedDateFormat).format(kNow), "2024-03-05T15:10:00-0300");
  setZone("Asia/Kolkata");
  EXPECT_EQ(toString(kNow), "2024-03-05T23:40:00+05:30");
  for (const char* zone : {"UTC", "no such zone", ""}) {
    setZone(zone);
    EXPECT_EQ(toString(kNow), "2024-03-05T18:10:00+00:00");
  }
  EXPECT_EQ(toString(std::nullopt), "");
}

TEST_F(DateTest, SharedFormKeepsAsciiDigitsAndTheGregorianYearInEveryLocale) {
  for (const char* locale : {"ar_EG", "th_TH", "ja_JP@calendar=japanese", "", "C", "x!"}) {
    setLocale(locale);
    EXPECT_EQ(toString(kNow, kSharedDateFormat), "2024-03-05T15:10:00-03:00");
    EXPECT_EQ(parse("2024-03-05T15:10:00-03:00", kSharedDateFormat), kNow);
  }
  setLocale("th_TH");
  EXPECT_EQ(toString(kNow, "yyyy"), "2567");
}

TEST_F(DateTest, SharedFormIsWhatTheGeneralFormatterWritesAndReadsBack) {
  std::mt19937_64 random(1);
  // From the time when every zone had offsets of whole minutes.
  std::uniform_int_distribution<std::int64_t> instants(86400LL * 365 * 3, 86400LL * 365 * 100);
  for (const char* zone : {"America/Sao_Paulo", "Europe/London", "Australia/Lord_Howe"}) {
    setZone(zone);
    UErrorCode status = U_ZERO_ERROR;
    icu::SimpleDateFormat reference(icu::UnicodeString::fromUTF8(std::string(kSharedDateFormat)),
                                    icu::Locale::getUS(), status);
    reference.adoptTimeZone(icu::TimeZone::createTimeZone(zone));
    for (int i = 0; i < 500; ++i) {
      const Date date{std::chrono::seconds(instants(random))};
      icu::UnicodeString formatted;
      std::string expected;
      reference.format(static_cast<UDate>(date.time_since_epoch().count()), formatted);
      EXPECT_EQ(getDateFormatter(kSharedDateFormat).format(date), formatted.toUTF8String(expected));
      EXPECT_EQ(parse(toString(date)), date);
    }
  }
}

TEST_F(DateTest, ReadsTheSharedFormAndNothingAroundIt) {
  for (const char* text : {"2024-03-05T15:10:00-03:00", "2024-03-05T15:10:00-0300",
                           "2024-03-06T00:10:00+06:00", "2024-02-29T18:10:00+00:00"}) {
    const bool inFebruary = text[6] == '2';
    EXPECT_EQ(parse(text), inFebruary ? kNow - std::chrono::days(5) : kNow) << text;
  }
  for (const char* text : {"",
                           "2024-03-05 15:10:00-03:00",
                           "2024-03-05T15:10:00",
                           "2024-03-05T15:10:00Z",
                           "2024-03-05T15:10:00GMT-03:00",
                           " 2024-03-05T15:10:00-03:00",
                           "2024-03-05T15:10:00-03:00 ",
                           "24-03-05T15:10:00-03:00",
                           "2024-03-05T15:10:00-03:0",
                           "2024-03-05T15:10:00-03:000",
                           "2024-03-05T15:10:00-:0300",
                           "2024-13-05T15:10:00-03:00",
                           "2023-02-29T15:10:00-03:00",
                           "2024-03-05T24:00:00-03:00",
                           "2024-03-05T15:60:00-03:00",
                           "2024-03-05T15:10:60-03:00",
                           "2024-03-05T15:10:00-24:00",
                           "2024-03-05T15:10:00-03:60",
                           "0000-03-05T15:10:00-03:00",
                           "٢٠٢٤-03-05T15:10:00-03:00"}) {
    EXPECT_EQ(parse(text), std::nullopt) << text;
  }
}

TEST_F(DateTest, TheEndsOfTheRangeReadBackEvenInLocalMeanTime) {
  for (const char* zone : {"America/Sao_Paulo", "GMT+23:59", "GMT-23:59"}) {
    setZone(zone);
    EXPECT_EQ(parse(toString(Date::min())), kEarliestDate) << toString(kEarliestDate);
    EXPECT_EQ(parse(toString(Date::max())), std::chrono::floor<std::chrono::seconds>(kLatestDate));
  }
  EXPECT_EQ(parse("0001-01-01T00:00:00+23:59"), kEarliestDate);
  EXPECT_EQ(parse("9999-12-31T23:59:59-23:59"), kLatestDate);
}

TEST_F(DateTest, ColonGoesInByLengthWhateverThePattern) {
  EXPECT_EQ(toString(kNow, "yyyy-MM-dd"), "2024-03-05");
  EXPECT_EQ(toString(kNow, "yyyy-MM-dd'T'HH:mm:ss'Z'"), "2024-03-05T15:10:00Z");
  EXPECT_EQ(toString(kNow, "yyyy-MM-dd'T'HH:mm:ss'ab'"), "2024-03-05T15:10:00:ab");
  // Of two units, or with its first one before the colon.
  EXPECT_EQ(toString(kNow, "'some twenty characters 😀'"), "some twenty characters :😀");
  EXPECT_EQ(toString(kNow, "'some twenty characters 😀x'"), "some twenty characters :😀x");
}

TEST_F(DateTest, OtherPatternsFollowTheCurrentLocaleAndZone) {
  EXPECT_EQ(parse("5 março 2024 15:10", "d MMMM yyyy HH:mm"), kNow);
  const DateFormatter before = getDateFormatter("d MMMM HH:mm");
  setZone("UTC");
  setLocale("de_DE.UTF-8");
  EXPECT_EQ(toString(kNow, "d MMMM HH:mm"), "5 März 18:10");
  EXPECT_EQ(before.format(kNow), "5 março 15:10");
  for (const char* text : {"2024-02-30", "2024-03-05x", "", "\xFF", "2024"}) {
    EXPECT_EQ(parse(text, "yyyy-MM-dd"), std::nullopt) << text;
  }
  EXPECT_EQ(parse("2024-03-05", "no pattern"), std::nullopt);
  EXPECT_EQ(toString(kNow, "no pattern"), "");
}

TEST_F(DateTest, ADayKeepsTheTimeOfDayAcrossAChangeOfTheOffset) {
  setZone("America/New_York");
  const Date noon = at("2024-03-09T12:00:00-05:00");
  EXPECT_EQ(toString(addDay(noon, 1)), "2024-03-10T12:00:00-04:00");
  EXPECT_EQ(toString(addHour(noon, 24)), "2024-03-10T13:00:00-04:00");
  // 02:30 is skipped that night.
  EXPECT_EQ(toString(addDay(at("2024-03-09T02:30:00-05:00"), 1)), "2024-03-10T03:30:00-04:00");
  EXPECT_EQ(addDay(addDay(noon, 1), -1), noon);
  EXPECT_EQ(differenceInDaysToDate(at("2024-03-10T12:00:00-04:00"), noon), 1);
  EXPECT_EQ(differenceInDaysToDate(at("2024-03-10T11:59:59-04:00"), noon), 0);
}

TEST_F(DateTest, DifferencesAreWholeUnitsCutTowardsZero) {
  EXPECT_EQ(differenceInHoursToDate(addMinute(kNow, -59), kNow), 0);
  EXPECT_EQ(differenceInHoursToDate(addMinute(kNow, -61), kNow), -1);
  EXPECT_EQ(differenceInHoursToDate(addMinute(kNow, 48 * 60 + 59), kNow), 48);
  EXPECT_EQ(differenceInMinutesToDate(kNow, addHour(kNow, -1) + milliseconds(1)), 59);
  EXPECT_EQ(differenceInDaysToDate(addDay(kNow, -1) + milliseconds(1), kNow), 0);
  EXPECT_EQ(differenceInDaysToDate(addDay(kNow, -1), kNow), -1);
  setZone("UTC");
  EXPECT_EQ(differenceInDaysToDate(Date::max(), Date::min()), 3652056);
  EXPECT_EQ(differenceInMinutesToDate(Date::min(), Date::max()), -3652056LL * 1440 - 1439);
}

TEST_F(DateTest, ArithmeticSaturatesForEveryCount) {
  for (const auto add : {addDay, addHour, addMinute}) {
    for (const Date start : {kNow, Date::min(), Date::max()}) {
      EXPECT_EQ(add(start, INT64_MAX), kLatestDate);
      EXPECT_EQ(add(start, INT64_MIN), kEarliestDate);
    }
    EXPECT_EQ(add(kNow, 0), kNow);
  }
  EXPECT_EQ(addDay(kNow, std::int64_t{1} << 32), kLatestDate);
}

TEST_F(DateTest, ComparisonsIncludeEqualityAndKnowAbsent) {
  EXPECT_TRUE(lessThanDate(kNow, kNow) && greaterThanDate(kNow, kNow));
  EXPECT_TRUE(lessThanDate(kNow, kNow + milliseconds(1)));
  EXPECT_FALSE(greaterThanDate(kNow, kNow + milliseconds(1)));
  for (const std::optional<Date> other : {std::optional<Date>(), std::optional(kNow)}) {
    EXPECT_FALSE(lessThanDate(std::nullopt, other) || greaterThanDate(std::nullopt, other));
    EXPECT_FALSE(lessThanDate(other, std::nullopt) || greaterThanDate(other, std::nullopt));
  }
}

TEST_F(DateTest, ThreadsOfTwoProcessesKeepTheirOwnZones) {
  testing::Fakes others;
  others.surroundings->zone = "Asia/Tokyo";
  Process other(others.platform());
  std::atomic<int> wrong = 0;
  const auto write = [&](Process& own, const char* expected) {
    const Process::Scope ownScope(own);
    for (int i = 0; i < 300; ++i) wrong += toString(addDay(kNow, 1)) != expected;
  };
  std::thread second([&] { write(other, "2024-03-07T03:10:00+09:00"); });
  write(*process, "2024-03-06T15:10:00-03:00");
  second.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace zqm
