// Text predicates and UTF-8.
#include "zqm/util/Strings.h"

#include <gtest/gtest.h>

namespace zqm {
namespace {

TEST(StringsTest, PredicatesOfATextAnswerForItsContent) {
  EXPECT_TRUE(isEmpty("") && !isNotEmpty(""));
  EXPECT_TRUE(!isEmpty(" ") && isNotEmpty(" "));
  EXPECT_TRUE(isNull("NULL") && !isNotNull("NULL"));
  EXPECT_TRUE(!isNull("null") && isNotNull("null") && isNotNull(""));
  EXPECT_TRUE(!isNil("") && isNotNil(""));
}

TEST(StringsTest, EveryPredicateIsFalseForAnAbsentTextAndForNoText) {
  for (const Text& text : {Text(), Text(Value::Null()), Text(0), Text(List{})}) {
    for (const auto predicate : {isEmpty, isNotEmpty, isNil, isNotNil, isNull, isNotNull}) {
      EXPECT_FALSE(predicate(text));
    }
  }
}

TEST(StringsTest, Md5IsInUpperCaseAndEndsAtAZeroByte) {
  EXPECT_EQ(MD5Hash(""), "D41D8CD98F00B204E9800998ECF8427E");
  EXPECT_EQ(MD5Hash("abc"), "900150983CD24FB0D6963F7D28E17F72");
  EXPECT_EQ(MD5Hash(std::string("abc\0def", 7)), MD5Hash("abc"));
  EXPECT_EQ(MD5Hash(Text()), std::nullopt);
  EXPECT_EQ(MD5Hash(5), std::nullopt);
}

TEST(StringsTest, Utf8IsCheckedToTheLetter) {
  for (const std::string_view text :
       {std::string_view(), std::string_view("a\0b", 3), std::string_view("\xC2\x80"),
        std::string_view("\xED\x9F\xBF\xEE\x80\x80"), std::string_view("\xF4\x8F\xBF\xBF")}) {
    EXPECT_TRUE(isValidUtf8(text));
    EXPECT_EQ(utf8Text(toBytes(text)), text);
  }
  for (const char* text : {"\x80", "a\xC3", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80",
                           "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80",
                           "\xF5\x80\x80\x80", "\xFF", "\xE2\x82", "\xE2\x82z"}) {
    EXPECT_FALSE(isValidUtf8(text)) << text;
    EXPECT_EQ(utf8Text(toBytes(text)), std::nullopt);
  }
}

TEST(StringsTest, LengthIsInUtf16Units) {
  EXPECT_EQ(utf16Length(""), 0U);
  EXPECT_EQ(utf16Length("añ€😀"), 5U);
}

}  // namespace
}  // namespace zqm
