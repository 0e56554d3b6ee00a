// Regular expressions and numbers as text.
#include "zqm/util/Patterns.h"

#include "tests/support/FakePlatform.h"
#include "zqm/util/Numbers.h"

namespace zqm {
namespace {

TEST(PatternsTest, ReplacesEveryMatchWithTheExpandedTemplate) {
  EXPECT_EQ(replaceAll("a1B2", "[a-z]", "_"), "_1_2");
  EXPECT_EQ(replaceAll("john smith", R"((\w+) (\w+))", "$2, $1"), "smith, john");
  EXPECT_EQ(replaceAll("5", R"(\d)", R"(\$$0 $ $x \\ $9 $)"), "$5 $ $x \\  $");
  EXPECT_EQ(replaceAll("a", "(a)", "$12"), "a2");
  EXPECT_EQ(replaceAll("a", "(a)|(b)", "[$2]"), "[]");
  EXPECT_EQ(replaceAll("a", "a", "$99999999999999999999"), "9999999999999999999");
  EXPECT_EQ(replaceAll("abc", "x*", "-"), "-a-b-c-");
  EXPECT_EQ(replaceAll("é😀ß", "É|😀", "€"), "€€ß");
  EXPECT_EQ(replaceAll("", "a", "b"), "");
  EXPECT_EQ(replaceAll(std::string("a\0b", 3), "b", "c"), std::string("a\0c", 3));
}

TEST(PatternsTest, WhatDoesNotCompileOrIsNotValidGivesNone) {
  for (const char* pattern : {"[", "(", "*", "a{2,1}", "\\", "\xFF"}) {
    EXPECT_EQ(replaceAll("a", pattern, ""), std::nullopt) << pattern;
    EXPECT_FALSE(containsMatch("a", pattern)) << pattern;
  }
  EXPECT_EQ(replaceAll("\xFF", "a", ""), std::nullopt);
  EXPECT_EQ(replaceAll("a", "a", "\xFF"), std::nullopt);
  EXPECT_FALSE(containsMatch("a\xFF", "a"));
  EXPECT_FALSE(containsMatch("b", "a"));
  EXPECT_TRUE(containsMatch("xAx", "a"));
}

TEST(PatternsTest, APatternThatTakesTooLongIsGivenUp) {
  EXPECT_FALSE(containsMatch(std::string(40, 'a') + "b", "(a+)+$"));
  // The limit is for all matches together.
  std::string many;
  for (int i = 0; i < 10'000; ++i) many.append(20, 'a').append("b ");
  EXPECT_EQ(replaceAll(many, "(a+)+c|b", ""), std::nullopt);
}

class NumbersTest : public testing::Fixture {};

TEST_F(NumbersTest, ADecimalIsReadAsTheCurrentLocaleWritesIt) {
  fakes.surroundings->language = "en_US";
  EXPECT_EQ(parseDecimal("42"), Value(42));
  EXPECT_EQ(parseDecimal("-1,234"), Value(-1234));
  EXPECT_EQ(parseDecimal("1.5"), Value(1.5));
  EXPECT_EQ(parseDecimal("9223372036854775807"), Value(INT64_MAX));
  EXPECT_EQ(parseDecimal("9223372036854775808"), Value(9223372036854775808.0));
  for (const std::string& text :
       {std::string(), std::string("abc"), std::string("42x"), std::string("4 2"),
        std::string("\xFF"), std::string("∞"), std::string("NaN"), std::string("1E999"),
        std::string("-"), std::string("42\0", 3), std::string(1'000'000, '1')}) {
    EXPECT_EQ(parseDecimal(text), std::nullopt) << text.substr(0, 20);
  }
  fakes.surroundings->language = "pt_BR";
  EXPECT_EQ(parseDecimal("1.234,5"), Value(1234.5));
  fakes.surroundings->language = "ar_EG";
  EXPECT_EQ(parseDecimal("٤٢"), Value(42));
}

TEST_F(NumbersTest, SecondsHaveAtMostTwoFractionDigitsAndAPoint) {
  fakes.surroundings->language = "de_DE";
  EXPECT_EQ(formatSeconds(0.4567), "0.46");
  EXPECT_EQ(formatSeconds(12), "12");
  EXPECT_EQ(formatSeconds(1.5), "1.5");
  EXPECT_EQ(formatSeconds(0), "0");
  EXPECT_EQ(formatSeconds(-0.001), "0");
  EXPECT_EQ(formatSeconds(100), "100");
  EXPECT_EQ(formatSeconds(1234567.891), "1234567.89");
  EXPECT_EQ(formatSeconds(1e308).size(), 309U);
  EXPECT_EQ(formatSeconds(std::numeric_limits<double>::quiet_NaN()), "0");
}

}  // namespace
}  // namespace zqm
