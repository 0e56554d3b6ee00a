// JSON to and from Value.
#include "zqm/util/Json.h"

#include <gtest/gtest.h>

#include <chrono>
#include <clocale>
#include <cmath>
#include <random>

#include "zqm/util/Strings.h"

namespace zqm {
namespace {

std::string nested(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

TEST(JsonTest, ReadsEveryKindAndKeepsTheOrderOfKeys) {
  const JsonReading reading = readJson(
      R"( {"z":null,"a":[true,false,-1,1.5,"\u00e9\ud83d\ude00\n\u0000"],"m":{},"l":[],"":"é"} )");
  ASSERT_FALSE(reading.error);
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
  EXPECT_EQ(readJson("9223372036854775807").value, Value(INT64_MAX));
  EXPECT_EQ(readJson("-9223372036854775808").value, Value(INT64_MIN));
  EXPECT_EQ(readJson("9223372036854775808").value, Value(9223372036854775808.0));
  EXPECT_EQ(readJson("-1e20").value, Value(-1e20));
  EXPECT_EQ(readJson("1e-999").value, Value(0.0));
  EXPECT_EQ(readJson("4.9e-324").value, Value(4.9e-324));
  for (const char* text : {"1e999", "-1e999", "NaN", "Infinity", "01", "+1", ".5", "1.", "0x1"}) {
    EXPECT_TRUE(readJson(text).error) << text;
  }
}

TEST(JsonTest, RefusesWhatIsNotOneValidText) {
  for (const std::string& text : {std::string(),
                                  std::string(" "),
                                  std::string("{"),
                                  std::string("[1,]"),
                                  std::string("{\"a\"}"),
                                  std::string("{a:1}"),
                                  std::string("[1] x"),
                                  std::string("[1][2]"),
                                  std::string("'a'"),
                                  std::string("\"\t\""),
                                  std::string("\"\\ud800\""),
                                  std::string("\"\xFF\""),
                                  std::string("\"\xED\xA0\x80\""),
                                  std::string("\xEF\xBB\xBF[]"),
                                  std::string("[]\0", 3),
                                  std::string("[]\0x", 4),
                                  std::string("[\"a\0b\"]", 7),
                                  std::string("// c\n[]"),
                                  std::string("]"),
                                  std::string("}")}) {
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
  ASSERT_FALSE(deepest.error);
  EXPECT_EQ(writeJson(deepest.value).text, nested(512));
  EXPECT_TRUE(writeJson(List{deepest.value}).error);
  EXPECT_TRUE(writeJson(Dictionary{{"a", deepest.value}}).error);
  EXPECT_TRUE(readJson(nested(513)).error);
  EXPECT_TRUE(readJson(std::string(10'000'000, '[')).error);
  std::string objects;
  for (int i = 0; i < 513; ++i) objects += "{\"a\":";
  EXPECT_TRUE(readJson(objects).error);
}

TEST(JsonTest, WritesCompactlyInTheOrderOfInsertion) {
  const Dictionary value = {{"z", "a\"b\\c/\n\x01é😀"},
                            {"a", List{1, -2.5, 3.0, true, Value::Null()}},
                            {"", Dictionary{}},
                            {"l", List{}}};
  const JsonWriting writing = writeJson(value);
  EXPECT_FALSE(writing.error);
  EXPECT_EQ(writing.text, R"({"z":"a\"b\\c/\n\u0001é😀","a":[1,-2.5,3.0,true,null],"":{},"l":[]})");
  EXPECT_EQ(readJson(writing.text).value, Value(value));
  for (const double number : {0.1, 1e300, -4.9e-324, 1.7976931348623157e308}) {
    EXPECT_EQ(readJson(writeJson(number).text).value, Value(number));
  }
}

TEST(JsonTest, RefusesToWriteWhatJsonCannotHold) {
  for (const Value& value : {Value(), Value(Date()), Value(Bytes{1}), Value(std::nan("")),
                             Value(-HUGE_VAL), Value("\xFF"), Value(Dictionary{{"\xC0\x80", 1}})}) {
    for (const Value& outer :
         {value, Value(List{1, value}), Value(Dictionary{{"a", List{value}}})}) {
      const JsonWriting writing = writeJson(outer);
      EXPECT_EQ(writing.text, "");
      ASSERT_TRUE(writing.error);
      EXPECT_EQ(writing.error->localizedDescription(), "The value cannot be written as JSON.");
    }
  }
}

TEST(JsonTest, TheLocaleOfTheProcessChangesNothing) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  int tried = 0;
  for (const char* locale : {"de_DE.UTF-8", "pt_BR.UTF-8", "ps_AF.UTF-8"}) {
    if (!std::setlocale(LC_ALL, locale)) continue;
    ++tried;
    EXPECT_EQ(readJson("[1.5,-2.5e3]").value, Value(List{1.5, -2500.0}));
    EXPECT_EQ(writeJson(1.5).text, "1.5");
  }
  std::setlocale(LC_ALL, before.c_str());
  if (tried == 0) GTEST_SKIP() << "The system has no locale with another decimal point.";
}

TEST(JsonTest, DamagedTextsAreReadOrRefusedInLinearTime) {
  const std::string seed =
      R"({"a":[1,-2.5e-3,"x\u00e9\ud83d\ude00",null,true],"b":{"c":{},"d":[[],[false]]},"é":"\\"})";
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    std::string text = seed;
    for (unsigned changes = random() % 4 + 1; changes > 0; --changes) {
      const std::size_t position = random() % text.size();
      switch (random() % 3) {
        case 0:
          text[position] = static_cast<char>(random());
          break;
        case 1:
          text.erase(position, random() % 5);
          break;
        default:
          text.insert(position, 1, "{}[]\",:\\u0e-"[random() % 12]);
      }
      if (text.empty()) text = seed;
    }
    const JsonReading reading = readJson(text);
    if (reading.error) continue;
    EXPECT_EQ(readJson(writeJson(reading.value).text).value, reading.value) << text;
  }
  std::string keys = "{";
  for (int i = 0; i < 200'000; ++i) keys.append("\"k").append(std::to_string(i)).append("\":[],");
  keys.back() = '}';
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(readJson(keys).value.dictionary()->size(), 200'000U);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

}  // namespace
}  // namespace zqm
