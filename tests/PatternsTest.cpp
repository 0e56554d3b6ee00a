// Regular expressions and numbers as text.
#include "zqm/util/Patterns.h"

#include <cmath>

#include "tests/support/FakePlatform.h"
#include "zqm/util/Numbers.h"

namespace zqm {
namespace {

TEST(PatternsTest, ReplacesEveryMatchWithTheExpandedTemplate) {
  EXPECT_EQ(replaceAll("5", R"(\d)", R"(\$$0 $ $x \\ $9 $)"), "$5 $ $x \\  $");
  EXPECT_EQ(replaceAll("a", "(a)", "$12"), "a2");
  EXPECT_EQ(replaceAll("a", "(a)|(b)", "[$2]"), "[]");
  EXPECT_EQ(replaceAll("a", "a", "$99999999999999999999"), "9999999999999999999");
  EXPECT_EQ(replaceAll("abc", "x*", "-"), "-a-b-c-");
  EXPECT_EQ(replaceAll("é😀ß", "É|😀", "€"), "€€ß");
  EXPECT_EQ(replaceAll(std::string("a\0b", 3), "b", "c"), std::string("a\0c", 3));
}

TEST(PatternsTest, WhatDoesNotCompileOrIsNotValidGivesNone) {
  for (const char* pattern : {"[", "*", "a{2,1}", "\\", "\xFF"}) {
    EXPECT_EQ(replaceAll("a", pattern, ""), std::nullopt) << pattern;
    EXPECT_FALSE(containsMatch("a", pattern)) << pattern;
  }
  EXPECT_EQ(replaceAll("\xFF", "a", ""), std::nullopt);
  EXPECT_EQ(replaceAll("a", "a", "\xFF"), std::nullopt);
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
  const auto read = [this](const char* language, std::string_view text) {
    fakes.systemInfo->language = language;
    return parseDecimal(text);
  };
  EXPECT_EQ(read("en_US", "-1,234"), Value(-1234));
  EXPECT_EQ(read("pt_BR", "1.234,5"), Value(1234.5));
  EXPECT_EQ(read("ar_EG", "٤٢"), Value(42));
  EXPECT_EQ(read("en_US", "9223372036854775807"), Value(INT64_MAX));
  EXPECT_EQ(read("en_US", "9223372036854775808"), Value(9223372036854775808.0));
  using namespace std::string_view_literals;
  for (const auto text :
       {""sv, "42x"sv, "4 2"sv, "\xFF"sv, "∞"sv, "NaN"sv, "1E999"sv, "-"sv, "42\0"sv}) {
    EXPECT_EQ(read("en_US", text), std::nullopt) << text;
  }
  EXPECT_EQ(read("en_US", std::string(1'000'000, '1')), std::nullopt);
}

TEST_F(NumbersTest, SecondsHaveAtMostTwoFractionDigitsAndAPoint) {
  fakes.systemInfo->language = "de_DE";
  for (const auto& [seconds, text] :
       {std::pair(100.0, "100"), {-0.001, "0"}, {std::nan(""), "0"}, {1234567.886, "1234567.89"}}) {
    EXPECT_EQ(formatSeconds(seconds), text);
  }
  EXPECT_EQ(formatSeconds(1e308).size(), 309U);
}

}  // namespace
}  // namespace zqm
