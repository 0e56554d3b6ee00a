// JSON to and from Value.
#include "zqm/util/Json.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <random>

#include "tests/support/Locales.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

std::string nested(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

TEST(JsonTest, ReadsEveryKindAndKeepsTheOrderOfKeys) {
  const JsonReading reading = readJson(
      R"( {"z":null,"a":[true,false,-1,1.5,"\u00e9\ud83d\ude00\n\u0000"],"m":{},"l":[],"":"é"} )");
  const Dictionary expected = {{"z", Value::Null()},
                               {"a", List{true, false, -1, 1.5, std::string("é😀\n\0", 8)}},
                               {"m", Dictionary{}},
                               {"l", List{}},
                               {"", "é"}};
  EXPECT_EQ(reading.value, Value(expected));
  EXPECT_EQ(reading.value.dictionary()->begin()->key, "z");
  EXPECT_EQ(readJson("7").value, Value(7));
  EXPECT_TRUE(readJson("null").value.isNull());
  EXPECT_EQ(readJson(R"({"a":1,"b":2,"a":3})").value, Value(Dictionary{{"a", 3}, {"b", 2}}));
}

TEST(JsonTest, NumbersBeyondAnIntegerBecomeDoublesAndBeyondThoseAreRefused) {
  EXPECT_EQ(readJson("[9223372036854775807,-9223372036854775808]").value,
            Value(List{INT64_MAX, INT64_MIN}));
  EXPECT_EQ(readJson("9223372036854775808").value, Value(9223372036854775808.0));
  EXPECT_EQ(readJson("[-1e20,1e-999,4.9e-324]").value, Value(List{-1e20, 0.0, 4.9e-324}));
  for (const char* text : {"1e999", "-1e999", "NaN", "Infinity", "01", "+1", ".5", "1.", "0x1"}) {
    EXPECT_TRUE(readJson(text).error) << text;
  }
}

TEST(JsonTest, RefusesWhatIsNotOneValidText) {
  for (const std::string_view text :
       {std::string_view(), std::string_view("{"), std::string_view("[1,]"),
        std::string_view("{a:1}"), std::string_view("[1][2]"), std::string_view("\"\t\""),
        std::string_view("\"\\ud800\""), std::string_view("\"\xED\xA0\x80\""),
        std::string_view("\xEF\xBB\xBF[]"), std::string_view("[]\0x", 4),
        std::string_view("[\"a\0b\"]", 7), std::string_view("]")}) {
    const JsonReading reading = readJson(text);
    ASSERT_TRUE(reading.error) << text;
    EXPECT_TRUE(reading.value.isAbsent());
    EXPECT_EQ(reading.error->domain, kJsonErrorDomain);
    EXPECT_EQ(reading.error->localizedDescription(), "The text is not JSON.");
    EXPECT_TRUE(isNotEmpty(reading.error->userInfo[kLocalizedFailureReasonKey])) << text;
  }
}

TEST(JsonTest, NeitherReadsNorWritesMoreThan512Levels) {
  const JsonReading deepest = readJson(nested(512));
  EXPECT_EQ(writeJson(deepest.value).text, nested(512));
  EXPECT_TRUE(writeJson(List{deepest.value}).error);
  EXPECT_TRUE(writeJson(Dictionary{{"a", deepest.value}}).error);
  EXPECT_TRUE(readJson(nested(513)).error);
  EXPECT_TRUE(readJson(std::string(10'000'000, '[')).error);
}

TEST(JsonTest, WritesCompactlyInTheOrderOfInsertion) {
  const Dictionary value = {{"z", "a\"b\\c/\n\x01é😀"},
                            {"a", List{1, -2.5, 3.0, true, Value::Null(), 0.1, 1e300}},
                            {"", Dictionary{}},
                            {"l", List{}}};
  const std::string text = writeJson(value).text;
  EXPECT_EQ(text,
            R"({"z":"a\"b\\c/\n\u0001é😀","a":[1,-2.5,3.0,true,null,0.1,1e+300],"":{},"l":[]})");
  EXPECT_EQ(readJson(text).value, Value(value));
}

TEST(JsonTest, RefusesToWriteWhatJsonCannotHold) {
  for (const Value& value : {Value(), Value(Date()), Value(Bytes{1}), Value(std::nan("")),
                             Value(-HUGE_VAL), Value("\xFF"), Value(Dictionary{{"\xC0\x80", 1}})}) {
    for (const JsonWriting& writing : {writeJson(value), writeJson(List{1, value})}) {
      EXPECT_EQ(writing.text, "");
      ASSERT_TRUE(writing.error);
      EXPECT_EQ(writing.error->localizedDescription(), "The value cannot be written as JSON.");
    }
  }
}

TEST(JsonTest, TheLocaleOfTheProcessChangesNothing) {
  if (!testing::underOtherLocales([] {
        EXPECT_EQ(readJson("[1.5,-2.5e3]").value, Value(List{1.5, -2500.0}));
        EXPECT_EQ(writeJson(1.5).text, "1.5");
      })) {
    GTEST_SKIP() << "The system has no locale with another decimal point.";
  }
}

TEST(JsonTest, DamagedTextsAreReadOrRefused) {
  const std::string seed =
      R"({"a":[1,-2.5e-3,"x\u00e9\ud83d\ude00",null,true],"b":{"c":{},"d":[[],[false]]},"é":"\\"})";
  std::mt19937 random(1);
  for (int i = 0; i < 10000; ++i) {
    std::string text = seed;
    for (unsigned changes = random() % 4 + 1; changes > 0; --changes) {
      text[random() % text.size()] = static_cast<char>(random());
      text.insert(random() % text.size(), 1, "{}[]\",:\\u0e-"[random() % 12]);
    }
    text.erase(random() % text.size(), random() % 5);
    const JsonReading reading = readJson(text);
    if (reading.error) continue;
    EXPECT_EQ(readJson(writeJson(reading.value).text).value, reading.value) << text;
  }
}

TEST(JsonTest, ManyKeysTakeLinearTime) {
  std::string text = "{";
  for (int i = 0; i < 200'000; ++i) text.append("\"k").append(std::to_string(i)).append("\":[],");
  text.back() = '}';
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(readJson(text).value.dictionary()->size(), 200'000U);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

}  // namespace
}  // namespace zqm
