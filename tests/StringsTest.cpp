// Text predicates and UTF-8.
#include "zqm/util/Strings.h"

#include <gtest/gtest.h>

namespace zqm {
namespace {

TEST(StringsTest, PredicatesKnowTextsAndAreFalseForAnythingElse) {
  EXPECT_TRUE(isEmpty("") && isNotEmpty(" ") && isNull("NULL") && isNotNull("null"));
  EXPECT_FALSE(isNil("") || isNotEmpty("") || isNull("null"));
  for (const Text& text : {Text(), Text(Value::Null()), Text(0), Text(List{})}) {
    for (const auto predicate : {isEmpty, isNotEmpty, isNil, isNotNil, isNull, isNotNull}) {
      EXPECT_FALSE(predicate(text));
    }
  }
}

TEST(StringsTest, Md5IsInUpperCaseAndEndsAtAZeroByte) {
  EXPECT_EQ(MD5Hash(std::string("abc\0def", 7)), "900150983CD24FB0D6963F7D28E17F72");
  EXPECT_EQ(MD5Hash(5), std::nullopt);
}

TEST(StringsTest, Utf8IsCheckedToTheLetter) {
  using namespace std::string_view_literals;
  for (const std::string_view text :
       {""sv, "a\0b"sv, "\xC2\x80"sv, "\xED\x9F\xBF\xEE\x80\x80"sv, "\xF4\x8F\xBF\xBF"sv}) {
    EXPECT_EQ(utf8Text(toBytes(text)), text);
  }
  for (const char* text : {"\x80", "a\xC3", "\xC0\x80", "\xE0\x9F\xBF", "\xED\xA0\x80",
                           "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xFF", "\xE2\x82z"}) {
    EXPECT_FALSE(isValidUtf8(text)) << text;
    EXPECT_EQ(utf8Text(toBytes(text)), std::nullopt);
  }
}

TEST(StringsTest, LengthIsInUtf16Units) { EXPECT_EQ(utf16Length("añ€😀"), 5U); }

}  // namespace
}  // namespace zqm
