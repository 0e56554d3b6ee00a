// The shared date form, other patterns, and arithmetic in the local calendar.
#include "zqm/util/Date.h"

#include "tests/support/FakePlatform.h"

namespace zqm::testing {
namespace {

using std::chrono::milliseconds;

class DateTest : public Fixture {
 protected:
  void setZone(const char* identifier) { fakes.systemInfo->zone = identifier; }
  void setLocale(const char* identifier) { fakes.systemInfo->language = identifier; }
  static Date at(const char* text) { return parse(text).value(); }
};

TEST_F(DateTest, SharedFormHasTheLocalOffsetWithAColon) {
  EXPECT_EQ(toString(kNow + milliseconds(999)), "2024-03-05T15:10:00-03:00");
  setZone("America/St_Johns");
  EXPECT_EQ(toString(kNow), "2024-03-05T14:40:00-03:30");
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
  }
}

TEST_F(DateTest, ReadsTheSharedFormOfAnyOffset) {
  for (const char* text :
       {"2024-03-05T15:10:00-03:00", "2024-03-05T15:10:00-0300", "2024-03-06T00:10:00+06:00"}) {
    EXPECT_EQ(parse(text), kNow) << text;
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
  EXPECT_EQ(toString(kNow, "yyyy-MM-dd'T'HH:mm:ss'ab'"), "2024-03-05T15:10:00:ab");
  // Never between the two units of one character.
  EXPECT_EQ(toString(kNow, "'some twenty characters 😀x'"), "some twenty characters :😀x");
}

TEST_F(DateTest, OtherPatternsFollowTheCurrentLocaleAndZone) {
  EXPECT_EQ(parse("5 março 2024 15:10", "d MMMM yyyy HH:mm"), kNow);
  setZone("UTC");
  setLocale("de_DE.UTF-8");
  EXPECT_EQ(toString(kNow, "d MMMM HH:mm"), "5 März 18:10");
  for (const char* text : {"2024-02-30", "2024-03-05x", "", "\xFF", "2024"}) {
    EXPECT_EQ(parse(text, "yyyy-MM-dd"), std::nullopt) << text;
  }
  EXPECT_EQ(toString(kNow, "no pattern"), "");
}

TEST_F(DateTest, ADayKeepsTheTimeOfDayAcrossAChangeOfTheOffset) {
  setZone("America/New_York");
  const Date noon = at("2024-03-09T12:00:00-05:00");
  EXPECT_EQ(toString(addDay(noon, 1)), "2024-03-10T12:00:00-04:00");
  EXPECT_EQ(toString(addHour(noon, 24)), "2024-03-10T13:00:00-04:00");
  // 02:30 is skipped that night.
  EXPECT_EQ(toString(addDay(at("2024-03-09T02:30:00-05:00"), 1)), "2024-03-10T03:30:00-04:00");
  EXPECT_EQ(differenceInDaysToDate(at("2024-03-10T12:00:00-04:00"), noon), 1);
  EXPECT_EQ(differenceInDaysToDate(at("2024-03-10T11:59:59-04:00"), noon), 0);
}

TEST_F(DateTest, DifferencesAreWholeUnitsCutTowardsZero) {
  EXPECT_EQ(differenceInHoursToDate(addMinute(kNow, -59), kNow), 0);
  EXPECT_EQ(differenceInMinutesToDate(kNow, addHour(kNow, -1) + milliseconds(1)), 59);
  EXPECT_EQ(differenceInDaysToDate(addDay(kNow, -1) + milliseconds(1), kNow), 0);
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
  }
}

}  // namespace
}  // namespace zqm::testing
