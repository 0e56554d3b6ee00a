// JSON to and from Value.
#include "zqm/util/Json.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/Locales.h"

namespace zqm {
namespace {

TEST(JsonTest, ReadsEveryKindAndKeepsTheOrderOfKeys) {
  const std::string_view text =
      R"( {"z":null,"a":[true,-1,1.5,"\u00e9\ud83d\ude00\u0000"],"m":{},"l":[],"":1,"m":"é"} )";
  const Dictionary expected = {{"z", Value::Null()},
                               {"a", List{true, -1, 1.5, std::string("é😀\0", 7)}},
                               {"m", "é"},
                               {"l", List{}},
                               {"", 1}};
  EXPECT_EQ(readJson(text).value, Value(expected));
  EXPECT_EQ(readJson(text).value.dictionary()->begin()->key, "z");
  EXPECT_EQ(readJson("7").value, Value(7));
}

TEST(JsonTest, NumbersBeyondAnIntegerBecomeDoubles) {
  EXPECT_EQ(readJson("[9223372036854775807,-9223372036854775808,9223372036854775808]").value,
            Value(List{INT64_MAX, INT64_MIN, 9223372036854775808.0}));
  EXPECT_EQ(readJson("[-1e20,1e-999,4.9e-324]").value, Value(List{-1e20, 0.0, 4.9e-324}));
}

TEST(JsonTest, NeitherReadsNorWritesMoreThan512Levels) {
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
  };
  const JsonReading deepest = readJson(nested(512));
  EXPECT_EQ(writeJson(deepest.value).text, nested(512));
  EXPECT_TRUE(writeJson(Dictionary{{"a", deepest.value}}).error);
  EXPECT_TRUE(readJson(std::string(10'000'000, '[')).error);
}

TEST(JsonTest, WritesCompactlyInTheOrderOfInsertion) {
  const Dictionary value = {{"z", "a\"b\\c/\n\x01é😀"},
                            {"a", List{1, -2.5, 3.0, true, Value::Null(), 0.1, 1e300}},
                            {"l", List{List{}, Dictionary{}}}};
  EXPECT_EQ(writeJson(value).text,
            R"({"z":"a\"b\\c/\n\u0001é😀","a":[1,-2.5,3.0,true,null,0.1,1e+300],"l":[[],{}]})");
}

TEST(JsonTest, RefusesToWriteWhatJsonCannotHold) {
  for (const Value& value : {Value(), Value(Date()), Value(Bytes{1}), Value(std::nan("")),
                             Value(-HUGE_VAL), Value("\xFF"), Value(Dictionary{{"\xC0\x80", 1}})}) {
    EXPECT_TRUE(writeJson(List{1, value}).error);
  }
}

TEST(JsonTest, TheLocaleOfTheProcessChangesNothing) {
  testing::underOtherLocales([] {
    EXPECT_EQ(readJson("[1.5,-2.5e3]").value, Value(List{1.5, -2500.0}));
    EXPECT_EQ(writeJson(1.5).text, "1.5");
  });
}

}  // namespace
}  // namespace zqm
