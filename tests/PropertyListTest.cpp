// Property lists: what is written reads back, and hostile files are refused.
#include "zqm/util/PropertyList.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <random>

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

// A binary file of these objects with references and offsets of two bytes, the first one the root.
Bytes binaryFile(const std::vector<Bytes>& objects) {
  Bytes file = toBytes("bplist00");
  Bytes table;
  const auto append = [](Bytes& to, std::uint64_t number, int size) {
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) {
      to.push_back(static_cast<std::uint8_t>(number >> shift));
    }
  };
  for (const Bytes& object : objects) {
    append(table, file.size(), 2);
    file.insert(file.end(), object.begin(), object.end());
  }
  const std::size_t tableStart = file.size();
  file.insert(file.end(), table.begin(), table.end());
  file.insert(file.end(), {0, 0, 0, 0, 0, 0, 2, 2});
  append(file, objects.size(), 8);
  append(file, 0, 8);
  append(file, tableStart, 8);
  return file;
}

Value readObjects(const std::vector<Bytes>& objects) {
  return readPropertyList(binaryFile(objects));
}

// Lists, each of so many references to the next one, and a text.
Value readChain(int lists, int references) {
  std::vector<Bytes> objects;
  for (int i = 1; i <= lists; ++i) {
    objects.push_back({static_cast<std::uint8_t>(0xA0 + references)});
    for (int j = 0; j < references; ++j) {
      objects.back().push_back(static_cast<std::uint8_t>(i >> 8));
      objects.back().push_back(static_cast<std::uint8_t>(i));
    }
  }
  objects.push_back({0x51, 'x'});
  return readObjects(objects);
}

TEST(PropertyListTest, EveryKindReadsBack) {
  Bytes raw;
  for (int i = 0; i < 1000; ++i) raw.push_back(static_cast<std::uint8_t>(i));
  Dictionary whole = {
      {"texts", List{"", "plain", "é€😀", std::string(70000, 'x'), "true"}},
      {"é", List{true, false, 0, 1, -1, 255, 256, 65536, INT32_MIN, INT64_MAX, INT64_MIN}},
      {"", List{0.0, 0.1, -2.5, 1e300, HUGE_VAL}},
      {"bytes", List{Bytes{}, raw, Bytes{0xFF, 0x00, 0xC0}}},
      {"empty", List{List{}, Dictionary{}, List{List{}}}},
      {"nested", Dictionary{{"texts", Dictionary{{"texts", "plain"}}}}}};
  for (int i = 0; i < 1000; ++i) whole.set("key" + std::to_string(i), i);
  EXPECT_EQ(reread(whole), Value(whole));
  EXPECT_EQ(reread(whole).dictionary()->begin()->key, "texts");
  for (const Value& root : {Value("a"), Value(List{}), Value(5), Value(Bytes{}), nested(512)}) {
    EXPECT_EQ(reread(root), root);
  }
  EXPECT_TRUE(std::isnan(reread(std::nan("")).real().value()));
}

TEST(PropertyListTest, DatesReadBackToTheMillisecond) {
  for (const std::int64_t distance : {0LL, 1LL, 999LL, 731355000123LL, -1LL, -999LL, -1000LL,
                                      -1001LL, -2147483646999LL, 2147483646999LL}) {
    const Date date = kEpoch + milliseconds(distance);
    EXPECT_EQ(reread(date), Value(date)) << distance;
  }
  for (const Date date : {Date::min(), Date::max(), kEpoch + std::chrono::seconds(INT32_MAX)}) {
    EXPECT_EQ(writePropertyList(date), std::nullopt);
  }
}

TEST(PropertyListTest, WhatNoPropertyListCanHoldIsNotWritten) {
  for (const Value& value :
       {Value(), Value(Value::Null()), Value(std::string("a\0b", 3)), Value("\xED\xA0\x80"),
        Value(Dictionary{{std::string("a\0", 2), 1}}), Value(Dictionary{{"\xFF", 1}}), nested(513),
        Value(List(500'000, true)), Value(Bytes((128 << 20) + 1))}) {
    EXPECT_EQ(writePropertyList(value), std::nullopt);
    EXPECT_EQ(writePropertyList(List{1, value}), std::nullopt);
  }
}

TEST(PropertyListTest, TheXmlFormIsRead) {
  const Value value = readXml(R"(<!-- a <dict> in a comment -->
  <dict>
    <key>text</key> <string> a &lt;&amp;&#233;&#x1F600; <![CDATA[<b>]]><!-- c --></string>
    <key>integers</key>
    <array><integer>-9223372036854775808</integer><integer> 42 </integer><integer>0</integer></array>
    <key>reals</key><array><real>1.5</real><real>-2e10</real></array>
    <key>flags</key><array><true/><false /></array>
    <key>date</key><date>2024-03-05T18:10:00Z</date>
    <key>data</key><data>
      AP/A
      Zm9v
    </data>
    <key>empty</key><array><string></string><string/><dict/><array></array><data/></array>
  </dict>)");
  const Dictionary expected = {{"text", " a <&é😀 <b>"},
                               {"integers", List{INT64_MIN, 42, 0}},
                               {"reals", List{1.5, -2e10}},
                               {"flags", List{true, false}},
                               {"date", Date(milliseconds(1709662200000))},
                               {"data", Bytes{0x00, 0xFF, 0xC0, 'f', 'o', 'o'}},
                               {"empty", List{"", "", Dictionary{}, List{}, Bytes{}}}};
  EXPECT_EQ(value, Value(expected));
}

TEST(PropertyListTest, XmlThatTheReaderWouldMisreadIsRefused) {
  for (const std::string content : {"",
                                    "<dict>",
                                    "<dict></array>",
                                    "</dict>",
                                    "<b/>",
                                    "<dict a=\"b\"/>",
                                    "<array>text</array>",
                                    "<string>a",
                                    "<string>&#xD800;</string>",
                                    "<integer></integer>",
                                    "<integer>010</integer>",
                                    "<integer>9223372036854775808</integer>",
                                    "<integer>1<!-- c -->2</integer>",
                                    "<real>1,5</real>",
                                    "<date>2024-13-05T18:10:00Z</date>",
                                    "<date>2024-03-05T18:10:00Z                  </date>",
                                    "<date>9999-03-05T18:10:00Z</date>",
                                    "<date/>",
                                    "<data>Zg=</data>",
                                    "<dict><true/></dict>",
                                    "<!-- <true/>",
                                    "<string>\xFF</string>"}) {
    EXPECT_TRUE(readXml(content).isAbsent()) << content;
  }
  EXPECT_TRUE(readXml(std::string("<string>a\0b</string>", 20)).isAbsent());
  EXPECT_TRUE(readPropertyList(toBytes("<!DOCTYPE plist [<!ENTITY a \"b\">]><true/>")).isAbsent());
  EXPECT_TRUE(readPropertyList({}).isAbsent());
}

TEST(PropertyListTest, XmlIsReadWithin512LevelsAndInTime) {
  const auto readArrays = [](int depth) {
    std::string start;
    std::string end;
    for (int i = 0; i < depth; ++i) {
      start += "<array>";
      end += "</array>";
    }
    return readXml(start + end);
  };
  EXPECT_TRUE(readArrays(512).list());
  EXPECT_TRUE(readArrays(513).isAbsent());
  EXPECT_TRUE(readArrays(100'000).isAbsent());
  std::string entities = "<string>";
  for (int i = 0; i < 300'000; ++i) entities += "&amp;";
  EXPECT_TRUE(readXml(entities + "</string>").isAbsent());
}

TEST(PropertyListTest, TheLocaleOfTheProcessChangesNoNumber) {
  if (!testing::underOtherLocales([] { EXPECT_EQ(readXml("<real>1.5</real>"), Value(1.5)); })) {
    GTEST_SKIP() << "The system has no locale with another decimal point.";
  }
}

TEST(PropertyListTest, SharedObjectsAreReadAndABombOfThemIsRefused) {
  const List pair = {"x", "x"};
  EXPECT_EQ(readChain(2, 2), Value(List{pair, pair}));
  EXPECT_TRUE(readChain(17, 2).list());
  EXPECT_TRUE(readChain(20, 2).isAbsent());
  EXPECT_TRUE(readChain(200, 2).isAbsent());
  // Few references, each to a megabyte.
  Bytes references = {0xAF, 0x10, 200};
  for (int i = 0; i < 200; ++i) references.insert(references.end(), {0, 1});
  Bytes data = {0x4F, 0x12, 0, 0x10, 0, 0};
  data.resize(data.size() + (1 << 20));
  EXPECT_TRUE(readObjects({references, data}).isAbsent());
}

TEST(PropertyListTest, CirclesAndDeepNestingAreRefused) {
  EXPECT_TRUE(readObjects({{0xA1, 0, 0}}).isAbsent());
  EXPECT_TRUE(readObjects({{0xA1, 0, 1}, {0xA1, 0, 0}}).isAbsent());
  EXPECT_TRUE(readObjects({{0xD1, 0, 1, 0, 0}, {0x51, 'a'}}).isAbsent());
  EXPECT_TRUE(readChain(512, 1).list());
  EXPECT_TRUE(readChain(513, 1).isAbsent());
  EXPECT_TRUE(readChain(10'000, 1).isAbsent());
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
           {0x13, 0},                                      // cut off
           {0x20, 0},                                      // a real of one byte
           {0x33, 0x7F, 0xF8, 0, 0, 0, 0, 0, 0},           // a date that is no number
           {0x33, 0x42, 0x37, 0x48, 0x76, 0xE8, 0, 0, 0},  // a date far away
           {0x45, 1},                                      // past the end
           {0x4F, 0x13, 255, 255, 255, 255, 255, 255, 255, 255},
           {0x6F, 0x13, 0x80, 0, 0, 0, 0, 0, 0, 1},
           {0xAF, 0x13, 255, 255, 255, 255, 255, 255, 255, 255},
           {0xDF, 0x13, 0x80, 0, 0, 0, 0, 0, 0, 0},
           {0x4F, 0x20, 1},                 // a length that is no integer
           {0x53, 'a', 0, 'b'},             // a text with a zero byte
           {0x51, 0xFF},                    // not UTF-8
           {0x61, 0xD8, 0x3D},              // half a surrogate pair
           {0x62, 0xDE, 0x00, 0xD8, 0x3D},  // a pair the wrong way round
           {0x61, 0, 0},                    // a zero character
           {0xA1, 0, 9},                    // no such object
       }) {
    EXPECT_TRUE(readObjects({object}).isAbsent()) << static_cast<int>(object.front());
  }
  // A key that is no text.
  EXPECT_TRUE(readObjects({{0xD1, 0, 1, 0, 1}, {0x09}}).isAbsent());
}

TEST(PropertyListTest, DamagedFilesAreReadOrRefused) {
  const Value seed = Dictionary{
      {"text", List{"plain", "é😀", ""}},
      {"numbers", List{1, -1, 1000, 0.1, 2.5, true}},
      {"rest", Dictionary{{"text", Date(milliseconds(1709662200000))}, {"data", Bytes(20, 7)}}}};
  const Bytes binary = writePropertyList(seed).value();
  const Bytes xml = toBytes(
      "<plist><dict><key>a</key><array><string>x &amp; <![CDATA[y]]></string><integer>12</integer>"
      "<real>1.5</real><true/><data>Zm9v</data></array>"
      "<key>b</key><date>2024-03-05T18:10:00Z</date></dict></plist>");
  const auto check = [](const Bytes& file) {
    const Value value = readPropertyList(file);
    EXPECT_TRUE(value.isAbsent() || writePropertyList(value));
  };
  for (std::size_t position = 0; position < binary.size(); ++position) {
    check(Bytes(binary.begin(), binary.begin() + static_cast<std::ptrdiff_t>(position)));
    for (int byte = 0; byte < 256; byte += 3) {
      Bytes file = binary;
      file[position] = static_cast<std::uint8_t>(byte);
      check(file);
    }
  }
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    const Bytes& origin = i % 2 ? binary : xml;
    Bytes file = origin;
    for (unsigned changes = random() % 6 + 1; changes > 0; --changes) {
      file[random() % file.size()] = origin[random() % origin.size()];
    }
    check(file);
  }
}

}  // namespace
}  // namespace zqm
