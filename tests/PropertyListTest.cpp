// Property lists: both forms are read, and a refused one is explained.
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

TEST(PropertyListTest, WhatTheToolWritesReadsBackInBothForms) {
  const Value whole = everyKind();
  const Bytes xml = tools::writePropertyList(whole).value();
  EXPECT_EQ(readPropertyList(xml), whole);
  EXPECT_EQ(readPropertyList(toBinary(xml)), whole);
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

TEST(PropertyListTest, AFaultNamesLineAndTagAndNothingOfATextBetween) {
  const auto wrapped = [](const std::string& content) {
    return "<?xml version=\"1.0\"?>\n<plist>" + content + "</plist>";
  };
  const std::pair<std::string, const char*> cases[] = {
      {wrapped("<dict>\n<key>a</key>\n<array>\n</dict>"), "line 5: </dict> does not close <array>"},
      {wrapped("<dict><key>a</key>\n<string>b</dict>"), "line 3: </dict> does not close <string>"},
      {wrapped("<dict>\n<!-- <b>\n--><true/></dict>"), "line 4: <true> has no <key> before it"},
      {wrapped("<dict><key>a</key><dict><key>b</key>\n<key>c</key>"),
       "line 3: <key> follows a <key>"},
      {wrapped("<array><string><![CDATA[<&]]>\n<integer>"), "line 3: <integer> stands in <string>"},
      {wrapped("</plist></dict><array>"), "line 2: </dict> closes nothing"},
      {wrapped("<string>&lt;&#233;&amp;pass<word</string>"),
       "line 2: no tag of a property list (in a text, < is written as &lt;)"},
      {wrapped("<string>http://a.test/?a=1&b=secret</string>"),
       "line 2: in a text, & is written as &amp;"},
      {wrapped("<array>secret</array>"), "it holds nothing that can be read"},
      {"\xEF\xBB\xBF \n", "it is empty"},
      {"\xFF\xFE<", "it looks like UTF-16, not UTF-8"},
      {std::string("\0<", 2), "it looks like UTF-16, not UTF-8"},
      {" {\"a\": 1}", "it looks like JSON"},
      {"a = b;", "it is neither XML nor binary"},
      {"bplist00\xD1", "it is binary, and damaged or cut off"},
      {"<plist>\n<dict>\n<key>a", "it is cut off in line 3"},
      {"<plist>\n<dict>\n<ke", "it is cut off in line 3"}};
  for (const auto& [file, fault] : cases) {
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
  EXPECT_TRUE(readArrays(513).isAbsent());
}

TEST(PropertyListTest, TheLocaleOfTheProcessChangesNoNumber) {
  testing::underOtherLocales([] { EXPECT_EQ(readXml("<real>1.5</real>"), Value(1.5)); });
}

}  // namespace
}  // namespace zqm
