// Property lists: what is written reads back, and hostile files are refused.
#include "zqm/util/PropertyList.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>

#include "tests/support/FakePlatform.h"
#include "tests/support/Locales.h"

namespace zqm {
namespace {

using std::chrono::milliseconds;

// 2001-01-01T00:00:00Z.
constexpr Date kEpoch{milliseconds(978307200000)};

Value reread(const Value& value) {
  const auto file = writePropertyList(value);
  return file ? readPropertyList(*file) : Value();
}

Value readXml(const std::string& content) {
  const std::string start = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Example//DTD PLIST 1.0//EN" "http://dtd.example/PropertyList-1.0.dtd">
<plist version="1.0">)";
  return readPropertyList(toBytes(start + content + "</plist>\n"));
}

Value nested(int depth) {
  Value value("leaf");
  for (int i = 0; i < depth; ++i) value = i % 2 ? Value(List{value}) : Dictionary{{"a", value}};
  return value;
}

// Reads a binary file of these objects, with references and offsets of two bytes; the first one is
// the root.
Value readObjects(const std::vector<Bytes>& objects) {
  Bytes file = toBytes("bplist00");
  const auto append = [&](std::uint64_t number, int size) {
    while (size-- > 0) file.push_back(static_cast<std::uint8_t>(number >> 8 * size));
  };
  for (const Bytes& object : objects) file.insert(file.end(), object.begin(), object.end());
  const std::size_t table = file.size();
  std::size_t offset = 8;
  for (const Bytes& object : objects) {
    append(offset, 2);
    offset += object.size();
  }
  append(0x0202, 8);
  for (const std::uint64_t number : {objects.size(), std::size_t{0}, table}) append(number, 8);
  return readPropertyList(file);
}

// Lists, each of so many references to the next one, and a text.
Value readChain(int lists, int references) {
  std::vector<Bytes> objects;
  for (int i = 1; i <= lists; ++i) {
    const Bytes next = {static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i)};
    Bytes& list = objects.emplace_back(1, static_cast<std::uint8_t>(0xA0 + references));
    for (int j = 0; j < references; ++j) list.insert(list.end(), next.begin(), next.end());
  }
  objects.push_back({0x51, 'x'});
  return readObjects(objects);
}

TEST(PropertyListTest, EveryKindReadsBack) {
  Dictionary whole = {
      {"texts", List{"", "plain", "é€😀", std::string(70000, 'x'), "true"}},
      {"é", List{true, false, 0, 1, -1, 255, 256, 65536, INT32_MIN, INT64_MAX, INT64_MIN}},
      {"", List{0.0, 0.1, -2.5, 1e300, HUGE_VAL}},
      {"bytes", List{Bytes{}, Bytes(1000, 7), Bytes{0xFF, 0x00, 0xC0}}},
      {"empty", List{List{}, Dictionary{}, List{List{}}}}};
  for (int i = 0; i < 1000; ++i) whole.set("key" + std::to_string(i), i);
  EXPECT_EQ(reread(whole), Value(whole));
  EXPECT_EQ(reread(whole).dictionary()->begin()->key, "texts");
  for (const Value& root : {Value("a"), Value(5), nested(512)}) EXPECT_EQ(reread(root), root);
}

TEST(PropertyListTest, DatesReadBackToTheMillisecond) {
  for (const std::int64_t distance :
       {0LL, 999LL, 731355000123LL, -1LL, -1000LL, -1001LL, -2147483646999LL, 2147483646999LL}) {
    const Date date = kEpoch + milliseconds(distance);
    EXPECT_EQ(reread(date), Value(date)) << distance;
  }
  EXPECT_EQ(writePropertyList(kEpoch + std::chrono::seconds(INT32_MAX)), std::nullopt);
}

TEST(PropertyListTest, WhatNoPropertyListCanHoldIsNotWritten) {
  for (const Value& value :
       {Value(), Value(Value::Null()), Value(std::string("a\0b", 3)), Value("\xED\xA0\x80"),
        Value(Dictionary{{std::string("a\0", 2), 1}}), nested(513), Value(List(500'000, true))}) {
    EXPECT_EQ(writePropertyList(List{1, value}), std::nullopt);
  }
}

TEST(PropertyListTest, TheXmlFormIsRead) {
  const Value value = readXml(R"(<!-- a <dict> in a comment --> <dict>
    <key>text</key> <string> a &lt;&amp;&#233;&#x1F600; <![CDATA[<b>]]><!-- c --></string>
    <key>integers</key> <array><integer>-9223372036854775808</integer><integer> 42 </integer></array>
    <key>rest</key> <array><real>-2e10</real><true/><false /><date>2024-03-05T18:10:00Z</date></array>
    <key>data</key> <data>
      AP/A
      Zm9v </data>
    <key>empty</key> <array><string></string><string/><dict/><array></array><data/></array>
  </dict>)");
  const Dictionary expected = {{"text", " a <&é😀 <b>"},
                               {"integers", List{INT64_MIN, 42}},
                               {"rest", List{-2e10, true, false, testing::kNow}},
                               {"data", Bytes{0x00, 0xFF, 0xC0, 'f', 'o', 'o'}},
                               {"empty", List{"", "", Dictionary{}, List{}, Bytes{}}}};
  EXPECT_EQ(value, Value(expected));
}

TEST(PropertyListTest, XmlThatTheReaderWouldMisreadIsRefused) {
  for (const char* content :
       {"", "<dict>", "<dict></array>", "</dict>", "<b/>", "<dict a='b'/>", "<array>text</array>",
        "<dict><true/></dict>", "<string>a", "<string>&#xD800;</string>", "<string>\xFF</string>",
        "<!-- <true/>", "<data>Zg=</data>"}) {
    EXPECT_TRUE(readXml(content).isAbsent()) << content;
  }
  for (const char* number :
       {"<real>1,5</real>", "<integer/>", "<integer>010</integer>",
        "<integer>1<!-- c -->2</integer>", "<integer>9223372036854775808</integer>",
        "<date>2024-13-05T18:10:00Z</date>", "<date>2024-03-05T18:10:00Z    </date>",
        "<date>9999-03-05T18:10:00Z</date>"}) {
    EXPECT_TRUE(readXml(number).isAbsent()) << number;
  }
  EXPECT_TRUE(readXml(std::string("<string>a\0b</string>", 20)).isAbsent());
  EXPECT_TRUE(readPropertyList(toBytes("<!DOCTYPE plist [<!ENTITY a \"b\">]><true/>")).isAbsent());
}

TEST(PropertyListTest, XmlIsReadWithin512LevelsAndInTime) {
  const auto readArrays = [](int depth) {
    std::string arrays;
    for (int i = 0; i < depth; ++i) arrays.insert(arrays.size() / 15 * 7, "<array></array>");
    return readXml(arrays);
  };
  EXPECT_TRUE(readArrays(512).list());
  for (const int depth : {513, 10'000}) EXPECT_TRUE(readArrays(depth).isAbsent());
  std::string entities = "<string>";
  for (int i = 0; i < 300'000; ++i) entities += "&amp;";
  EXPECT_TRUE(readXml(entities + "</string>").isAbsent());
}

TEST(PropertyListTest, TheLocaleOfTheProcessChangesNoNumber) {
  testing::underOtherLocales([] { EXPECT_EQ(readXml("<real>1.5</real>"), Value(1.5)); });
}

TEST(PropertyListTest, SharedObjectsAreReadAndABombOfThemIsRefused) {
  const List pair = {"x", "x"};
  EXPECT_EQ(readChain(2, 2), Value(List{pair, pair}));
  for (const int lists : {20, 200}) EXPECT_TRUE(readChain(lists, 2).isAbsent());
  // Few references, each to a megabyte.
  Bytes references = {0xAF, 0x10, 200};
  for (int i = 0; i < 200; ++i) references.insert(references.end(), {0, 1});
  Bytes data = {0x4F, 0x12, 0, 0x10, 0, 0};
  data.resize(data.size() + (1 << 20));
  EXPECT_TRUE(readObjects({references, data}).isAbsent());
}

TEST(PropertyListTest, CirclesAndDeepNestingAreRefused) {
  EXPECT_TRUE(readObjects({{0xD1, 0, 1, 0, 0}, {0x51, 'a'}}).isAbsent());
  EXPECT_TRUE(readChain(512, 1).list());
  for (const int lists : {513, 10'000}) EXPECT_TRUE(readChain(lists, 1).isAbsent());
}

TEST(PropertyListTest, ObjectsThatAreNotSoundAreRefused) {
  EXPECT_EQ(readObjects({{0x13, 255, 255, 255, 255, 255, 255, 255, 254}}), Value(-2));
  EXPECT_EQ(readObjects({{0x22, 0x3F, 0xC0, 0, 0}}), Value(1.5));
  EXPECT_EQ(readObjects({{0x62, 0xD8, 0x3D, 0xDE, 0x00}}), Value("😀"));
  EXPECT_EQ(readObjects({{0x52, 0xC3, 0xA9}}), Value("é"));
  for (const Bytes& object : std::vector<Bytes>{
           {0x00},                                         // null
           {0x80, 1},                                      // an archive's reference
           {0x14, 0, 0, 0, 0, 0, 0, 0, 0},                 // 128 bits
           {0x33, 0x7F, 0xF8, 0, 0, 0, 0, 0, 0},           // a date that is no number
           {0x33, 0x42, 0x37, 0x48, 0x76, 0xE8, 0, 0, 0},  // a date far away
           {0x45, 1},                                      // past the end
           {0x6F, 0x13, 0x80, 0, 0, 0, 0, 0, 0, 1},
           {0xDF, 0x13, 0x80, 0, 0, 0, 0, 0, 0, 0},
           {0x4F, 0x20, 1},                 // a length that is no integer
           {0x53, 'a', 0, 'b'},             // a text with a zero byte
           {0x51, 0xFF},                    // not UTF-8
           {0x62, 0xDE, 0x00, 0xD8, 0x3D},  // a pair the wrong way round
           {0x61, 0, 0},                    // a zero character
           {0xA1, 0, 9},                    // no such object
       }) {
    EXPECT_TRUE(readObjects({object}).isAbsent()) << static_cast<int>(object.front());
  }
  // A key that is no text.
  EXPECT_TRUE(readObjects({{0xD1, 0, 1, 0, 1}, {0x09}}).isAbsent());
}

}  // namespace
}  // namespace zqm
