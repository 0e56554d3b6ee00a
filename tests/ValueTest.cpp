// Value, Dictionary and the readings that the records rest on.
#include "zqm/base/Value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zqm {
namespace {

TEST(ValueTest, IntegerReadingIsDefinedForEveryKind) {
  EXPECT_EQ(Value(5).integerReading(), 5);
  EXPECT_EQ(Value(std::int64_t{1} << 32 | 7).integerReading(), 7);
  EXPECT_EQ(Value(-2.9).integerReading(), -2);
  EXPECT_EQ(Value(4294967303.5).integerReading(), 7);
  EXPECT_EQ(Value(std::nan("")).integerReading(), 0);
  EXPECT_EQ(Value(std::numeric_limits<double>::infinity()).integerReading(), -1);
  EXPECT_EQ(Value(true).integerReading(), 1);
  EXPECT_EQ(Value("  -12abc").integerReading(), -12);
  EXPECT_EQ(Value("99999999999999999999").integerReading(), 2147483647);
  EXPECT_EQ(Value("-99999999999999999999").integerReading(), -2147483648LL);
  EXPECT_EQ(Value("abc").integerReading(), 0);
  EXPECT_EQ(Value(Value::Null()).integerReading(), std::nullopt);
  EXPECT_EQ(Value(List{}).integerReading(), std::nullopt);
  EXPECT_EQ(Value(UINT64_MAX), Value(INT64_MAX));
}

TEST(ValueTest, ParseToBoolIsExactAndCaseSensitive) {
  for (const Value& value : {Value("YES"), Value("true"), Value("1"), Value(true), Value(1)}) {
    EXPECT_TRUE(parseToBool(value)) << value.textForm();
  }
  for (const Value& value : {Value("Yes"), Value("TRUE"), Value("yes"), Value(" 1"), Value(2),
                             Value(false), Value(), Value(Value::Null())}) {
    EXPECT_FALSE(parseToBool(value)) << value.textForm();
  }
}

TEST(DictionaryTest, KeepsOrderAndFindsKeysAtAnySize) {
  Dictionary dictionary;
  for (int i = 0; i < 100; ++i) dictionary.set("key" + std::to_string(i), i);
  dictionary.set("key3", Value());
  dictionary.set("key50", "replaced");
  EXPECT_EQ(dictionary.size(), 99U);
  EXPECT_FALSE(dictionary.contains("key3"));
  EXPECT_EQ(dictionary["key50"], Value("replaced"));
  EXPECT_EQ(dictionary["key99"], Value(99));
  EXPECT_EQ(dictionary.begin()[3].key, "key4");
  EXPECT_TRUE(dictionary["missing"].isAbsent());
  const Dictionary turned = {{"b", 2}, {"a", 1}};
  EXPECT_EQ(turned, (Dictionary{{"a", 1}, {"b", 2}}));
  EXPECT_NE(turned, (Dictionary{{"a", 1}}));
}

}  // namespace
}  // namespace zqm
