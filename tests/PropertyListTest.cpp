// Property lists: both forms are read, mistakes cost little, and damage costs the file.
#include "zqm/util/PropertyList.h"

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "tests/support/FakePlatform.h"
#include "tests/support/Locales.h"
#include "tools/zqm/PropertyListWriter.h"
#include "zqm/util/PropertyListFault.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

Value readXml(const std::string& content) {
  return readPropertyList(
      toBytes("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + content +
              "</plist>\n"));
}

// One of every kind.
Dictionary everyKind() {
  return {{"texts", List{"", "plain", " é€😀 <&>", std::string(300, 'x'), "true"}},
          {"é", List{true, false, 0, 1, -1, 255, 256, 65536, INT32_MIN, INT64_MAX, INT64_MIN}},
          {"reals", List{0.1, -2.5, 1e300}},
          {"dates", List{testing::kNow, Date(std::chrono::seconds(-1))}},
          {"bytes", List{Bytes{}, Bytes(100, 7), Bytes{0xFF, 0x00, 0xC0}}},
          {"empty", List{List{}, Dictionary{}, List{List{}}}}};
}

Bytes toBinary(const Bytes& xml) {
  plist_t node = nullptr;
  char* file = nullptr;
  std::uint32_t size = 0;
  plist_from_xml(asText(xml).data(), static_cast<std::uint32_t>(xml.size()), &node);
  plist_to_bin(node, &file, &size);
  plist_free(node);
  Bytes binary = toBytes({file, size});
  std::free(file);
  return binary;
}

void readDamaged(const Bytes& file) {
  EXPECT_TRUE(isValidUtf8(readPropertyList(file).textForm())) << "whatever is read of it";
}

TEST(PropertyListTest, WhatTheToolWritesReadsBackInBothForms) {
  const Value whole = everyKind();
  const Bytes xml = tools::writePropertyList(whole).value();
  EXPECT_EQ(readPropertyList(xml), whole);
  EXPECT_EQ(readPropertyList(toBinary(xml)), whole);
  for (const Value& value :
       {Value(), Value(Value::Null()), Value(std::string("a\0b", 3)), Value("\xED\xA0\x80"),
        Value(Dictionary{{"\xFF", 1}}), Value(Date(std::chrono::hours(24 * 365 * 100)))}) {
    EXPECT_EQ(tools::writePropertyList(List{1, value}), std::nullopt);
  }
}

TEST(PropertyListTest, XmlThatPeopleWriteIsRead) {
  const Value value = readXml(R"(<!-- a <dict> in a comment --> <dict>
    <key>text</key> <string> a &lt;&amp;&#233;&#x1F600; <![CDATA[<b>]]><!-- c --></string>
    <key>rest</key> <array><integer> 42 </integer><real>-2e10</real><true/><false /></array>
    <key>data</key> <data>
      AP/A
      Zm9v </data>
    <key>empty</key> <array><string></string><string/><dict/><array></array><data/></array>
  </dict>)");
  const Dictionary expected = {{"text", " a <&é😀 <b>"},
                               {"rest", List{42, -2e10, true, false}},
                               {"data", Bytes{0x00, 0xFF, 0xC0, 'f', 'o', 'o'}},
                               {"empty", List{"", "", Dictionary{}, List{}, Bytes{}}}};
  EXPECT_EQ(value, Value(expected));
}

TEST(PropertyListTest, ATextThatIsNotUtf8IsLeftOutAndAByteOrderMarkSkipped) {
  const Value value = readXml(
      "<dict><key>latin</key><string>S\xE3o Paulo</string><key>S\xE3o</key><true/>"
      "<key>list</key><array><string>a</string><string>\xE3</string></array></dict>");
  EXPECT_EQ(value, Value(Dictionary{{"list", List{"a"}}}));
  const Bytes xml = tools::writePropertyList(everyKind()).value();
  for (Bytes file : {xml, toBinary(xml)}) {
    file.insert(file.begin(), {0xEF, 0xBB, 0xBF});
    EXPECT_EQ(readPropertyList(file), Value(everyKind()));
  }
}

TEST(PropertyListTest, AKeyWithAZeroByteIsLeftOut) {
  const Dictionary keys = {{"éa", 1}, {"b", 2}};
  Bytes file = toBinary(tools::writePropertyList(keys).value());
  const Bytes key = {0x00, 0xE9, 0x00, 'a'};
  const auto found = std::search(file.begin(), file.end(), key.begin(), key.end());
  ASSERT_NE(found, file.end());
  found[3] = 0;
  EXPECT_EQ(readPropertyList(file), Value(Dictionary{{"b", 2}}));
}

TEST(PropertyListTest, AnOddNumberOrDateReadsAsAnother) {
  EXPECT_EQ(readXml("<array><integer>010</integer><integer>x</integer><integer/></array>"),
            Value(List{8, 0, 0}));
  EXPECT_EQ(readXml("<real>1,5</real>"), Value(1.0));
  EXPECT_EQ(readXml("<date>yesterday</date>"), Value(Date()));
}

TEST(PropertyListTest, AFaultNamesLineAndTagAndNothingOfATextBetween) {
  const struct {
    std::string content, fault;
  } cases[] = {
      {"<dict>\n<key>a</key>\n<array>\n</dict>", "line 5: </dict> does not close <array>"},
      {"<dict><key>a</key>\n<string>b</dict>", "line 3: </dict> does not close <string>"},
      {"<dict>\n<!-- <b>\n--><true/></dict>", "line 4: <true> has no <key> before it"},
      {"<dict><key>a</key><dict><key>b</key>\n<key>c</key>", "line 3: <key> follows a <key>"},
      {"<array><string><![CDATA[<&]]>\n<integer>", "line 3: <integer> stands in <string>"},
      {"</plist></dict><array>", "line 2: </dict> closes nothing"},
      {"<string>&lt;&#233;&amp;pass<word</string>",
       "line 2: no tag of a property list (in a text, < is written as &lt;)"},
      {"<string>http://a.test/?a=1&b=secret</string>", "line 2: in a text, & is written as &amp;"},
      {"", "it holds nothing that can be read"},
      {"<array>secret</array>", "it holds nothing that can be read"},
  };
  for (const auto& [content, fault] : cases) {
    const Bytes file = toBytes("<?xml version=\"1.0\"?>\n<plist>" + content + "</plist>");
    EXPECT_TRUE(readPropertyList(file).isAbsent()) << content;
    EXPECT_EQ(propertyListFault(file), fault) << content;
  }
  for (const auto& [file, fault] : {std::pair<std::string, std::string>{"", "it is empty"},
                                    {"\xEF\xBB\xBF \n", "it is empty"},
                                    {"\xFF\xFE<", "it looks like UTF-16, not UTF-8"},
                                    {std::string("\0<", 2), "it looks like UTF-16, not UTF-8"},
                                    {" {\"a\": 1}", "it looks like JSON"},
                                    {"a = b;", "it is neither XML nor binary"},
                                    {"bplist00\xD1", "it is binary, and damaged or cut off"},
                                    {"<plist>\n<dict>\n<key>a", "it is cut off in line 3"},
                                    {"<plist>\n<dict>\n<ke", "it is cut off in line 3"}}) {
    EXPECT_TRUE(readPropertyList(toBytes(file)).isAbsent()) << file;
    EXPECT_EQ(propertyListFault(toBytes(file)), fault) << file;
  }
}

TEST(PropertyListTest, LevelsBeyond512AreRefused) {
  const auto readArrays = [](int depth) {
    std::string arrays;
    for (int i = 0; i < depth; ++i) arrays.insert(arrays.size() / 15 * 7, "<array></array>");
    return readXml(arrays);
  };
  EXPECT_TRUE(readArrays(512).list());
  for (const int depth : {513, 10'000}) EXPECT_TRUE(readArrays(depth).isAbsent());
}

TEST(PropertyListTest, TheLocaleOfTheProcessChangesNoNumber) {
  testing::underOtherLocales([] { EXPECT_EQ(readXml("<real>1.5</real>"), Value(1.5)); });
}

TEST(PropertyListTest, DamageEndsNothingAndNoPrefixReadsAsLess) {
  const Bytes xml = tools::writePropertyList(everyKind()).value();
  for (const Bytes& whole : {xml, toBinary(xml)}) {
    const auto size = static_cast<std::ptrdiff_t>(whole.size());
    for (std::ptrdiff_t i = 0; i < size; ++i) {
      const Value read = readPropertyList(Bytes(whole.begin(), whole.begin() + i));
      EXPECT_TRUE(read.isAbsent() || read == Value(everyKind())) << "the first " << i << " bytes";
      for (int bit = 0; bit < 8; ++bit) {
        Bytes flipped = whole;
        flipped[static_cast<std::size_t>(i)] ^= static_cast<std::uint8_t>(1 << bit);
        readDamaged(flipped);
      }
      Bytes zeroed = whole;
      std::fill(zeroed.begin() + i, zeroed.begin() + std::min(i + 64, size), std::uint8_t{0});
      readDamaged(zeroed);
    }
  }
}

}  // namespace
}  // namespace zqm
