// Value, Dictionary and the readings that the records rest on.
#include "zqm/base/Value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "zqm/base/OptionalText.h"

namespace zqm {
namespace {

TEST(ValueTest, IntegerReadingIsDefinedForEveryKind) {
  EXPECT_EQ(Value(std::int64_t{1} << 32 | 7).integerReading(), 7);
  EXPECT_EQ(Value(-2.9).integerReading(), -2);
  EXPECT_EQ(Value(4294967303.5).integerReading(), 7);
  EXPECT_EQ(Value(std::nan("")).integerReading(), 0);
  EXPECT_EQ(Value(HUGE_VAL).integerReading(), -1);
  EXPECT_EQ(Value(true).integerReading(), 1);
  EXPECT_EQ(Value("  -12abc").integerReading(), -12);
  EXPECT_EQ(Value("99999999999999999999").integerReading(), INT32_MAX);
  EXPECT_EQ(Value("-99999999999999999999").integerReading(), INT32_MIN);
  EXPECT_EQ(Value(Value::Null()).integerReading(), std::nullopt);
  EXPECT_EQ(Value(List{}).integerReading(), std::nullopt);
  EXPECT_EQ(Value(UINT64_MAX), Value(INT64_MAX));
}

TEST(ValueTest, ANullTextIsAbsent) {
  const char* const unset = nullptr;
  EXPECT_TRUE(Value(unset).isAbsent());
  EXPECT_TRUE(Text(nullptr).isAbsent());
  EXPECT_TRUE((Dictionary{{"key", unset}}).empty());
  EXPECT_EQ(OptionalText(unset), std::nullopt);
  EXPECT_EQ(OptionalText(nullptr), std::nullopt);
  EXPECT_EQ(OptionalText(""), "");
}

TEST(ValueTest, ParseToBoolIsExactAndCaseSensitive) {
  for (const Value& value : List{"YES", "true", "1", true, 1}) {
    EXPECT_TRUE(parseToBool(value)) << value.textForm();
  }
  for (const Value& value : List{"Yes", "TRUE", " 1", 2, false, Value(), Value::Null()}) {
    EXPECT_FALSE(parseToBool(value)) << value.textForm();
  }
}

TEST(DictionaryTest, KeepsOrderAndFindsKeysAmongMany) {
  constexpr int kKeys = 200'000;
  Dictionary dictionary;
  for (int i = 0; i < kKeys; ++i) dictionary.set("key" + std::to_string(i), i);
  dictionary.set("key3", Value());
  dictionary.set("key50", "replaced");
  EXPECT_EQ(dictionary.size(), kKeys - 1U);
  EXPECT_EQ(dictionary["key50"], Value("replaced"));
  EXPECT_EQ(dictionary.begin()[3].key, "key4");
  EXPECT_EQ((Dictionary{{"b", 2}, {"a", 1}}), (Dictionary{{"a", 1}, {"b", 2}}));
}

}  // namespace
}  // namespace zqm
