// Property lists: what is written reads back, and hostile files are refused.
#include "zqm/util/PropertyList.h"

#include <gtest/gtest.h>

#include <chrono>
#include <clocale>
#include <cmath>
#include <random>

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
  const std::string text = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Example//DTD PLIST 1.0//EN" "http://dtd.example/PropertyList-1.0.dtd">
<plist version="1.0">)" + content +
                           "</plist>\n";
  return readPropertyList(toBytes(text));
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

Value readObject(const Bytes& object) { return readPropertyList(binaryFile({object})); }

TEST(PropertyListTest, EveryKindReadsBack) {
  Bytes raw;
  for (int i = 0; i < 1000; ++i) raw.push_back(static_cast<std::uint8_t>(i));
  const Dictionary whole = {
      {"texts", List{"", "plain", "é€😀", std::string(70000, 'x'), "true"}},
      {"é", List{true, false, 0, 1, -1, 255, 256, 65536, INT32_MIN, INT64_MAX, INT64_MIN}},
      {"", List{0.0, 0.1, -2.5, 1e300, HUGE_VAL}},
      {"bytes", List{Bytes{}, raw, Bytes{0xFF, 0x00, 0xC0}}},
      {"empty", List{List{}, Dictionary{}, List{List{}}}},
      {"nested", Dictionary{{"texts", Dictionary{{"texts", "plain"}}}}}};
  EXPECT_EQ(reread(whole), Value(whole));
  EXPECT_EQ(reread(whole).dictionary()->begin()->key, "texts");
  for (const Value& root : {Value("a"), Value(List{}), Value(5), Value(Bytes{})}) {
    EXPECT_EQ(reread(root), root);
  }
  EXPECT_TRUE(std::isnan(reread(std::nan("")).real().value()));
  Dictionary wide;
  for (int i = 0; i < 3000; ++i) wide.set("key" + std::to_string(i), i);
  EXPECT_EQ(reread(wide), Value(wide));
}

TEST(PropertyListTest, DatesReadBackToTheMillisecond) {
  for (const std::int64_t distance :
       {0LL, 1LL, 999LL, 731355000123LL, -1LL, -999LL, -1000LL, -1001LL, -978307200000LL,
        -2147483646999LL, 2147483646999LL}) {
    const Date date = kEpoch + milliseconds(distance);
    EXPECT_EQ(reread(date), Value(date)) << distance;
  }
  for (const Date date : {Date::min(), Date::max(), kEpoch + std::chrono::seconds(INT32_MAX)}) {
    EXPECT_EQ(writePropertyList(date), std::nullopt);
  }
}

TEST(PropertyListTest, WhatNoPropertyListCanHoldIsNotWritten) {
  for (const Value& value : {Value(), Value(Value::Null()), Value(std::string("a\0b", 3)),
                             Value("\xFF"), Value("\xED\xA0\x80"), nested(513)}) {
    EXPECT_EQ(writePropertyList(value), std::nullopt);
    EXPECT_EQ(writePropertyList(List{1, value}), std::nullopt);
    const std::string key = value.string().value_or("\xC0\x80");
    EXPECT_EQ(writePropertyList(Dictionary{{key, 1}}), std::nullopt);
  }
  EXPECT_EQ(writePropertyList(Dictionary{{"a", Value::Null()}}), std::nullopt);
  EXPECT_EQ(reread(nested(512)), nested(512));
  EXPECT_EQ(writePropertyList(List(500'000, true)), std::nullopt);
  EXPECT_EQ(writePropertyList(List(130, Bytes(1 << 20))), std::nullopt);
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
                                    "<dict><key>a</key></dict></dict>",
                                    "<b/>",
                                    "<dict a=\"b\"/>",
                                    "<array>text</array>",
                                    "<string>a<b/></string>",
                                    "<string>a",
                                    "<string>&unknown;</string>",
                                    "<string>&#xD800;</string>",
                                    "<string>&#0;</string>",
                                    "<integer></integer>",
                                    "<integer>010</integer>",
                                    "<integer>9223372036854775808</integer>",
                                    "<integer>1x</integer>",
                                    "<integer>1<!-- c -->2</integer>",
                                    "<real>1,5</real>",
                                    "<date>2024-13-05T18:10:00Z</date>",
                                    "<date>2024-03-05T18:10:00Z                  </date>",
                                    "<date>9999-03-05T18:10:00Z</date>",
                                    "<date/>",
                                    "<data>Zg=</data>",
                                    "<plist/>",
                                    "<dict><true/></dict>",
                                    "<!-- <true/>",
                                    "<![CDATA[<true/>]]>",
                                    "<string>\xFF</string>"}) {
    EXPECT_TRUE(readXml(content).isAbsent()) << content;
  }
  EXPECT_TRUE(readXml(std::string("<string>a\0b</string>", 20)).isAbsent());
  EXPECT_TRUE(readPropertyList(toBytes("<!DOCTYPE plist [<!ENTITY a \"b\">]><true/>")).isAbsent());
  EXPECT_TRUE(readPropertyList({}).isAbsent());
  EXPECT_TRUE(readPropertyList(toBytes("{ old = style; }")).isAbsent());
}

TEST(PropertyListTest, XmlIsReadWithin512LevelsAndInTime) {
  const auto arrays = [](int depth) {
    std::string text;
    for (int i = 0; i < depth; ++i) text += "<array>";
    for (int i = 0; i < depth; ++i) text += "</array>";
    return text;
  };
  EXPECT_TRUE(readXml(arrays(512)).list());
  EXPECT_TRUE(readXml(arrays(513)).isAbsent());
  EXPECT_TRUE(readXml(arrays(100'000)).isAbsent());
  std::string entities = "<string>";
  for (int i = 0; i < 300'000; ++i) entities += "&amp;";
  EXPECT_TRUE(readXml(entities + "</string>").isAbsent());
}

TEST(PropertyListTest, TheLocaleOfTheProcessChangesNoNumber) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  int tried = 0;
  for (const char* locale : {"de_DE.UTF-8", "pt_BR.UTF-8"}) {
    if (!std::setlocale(LC_ALL, locale)) continue;
    ++tried;
    EXPECT_EQ(readXml("<real>1.5</real>"), Value(1.5));
    EXPECT_STREQ(std::localeconv()->decimal_point, ",");
  }
  std::setlocale(LC_ALL, before.c_str());
  if (tried == 0) GTEST_SKIP() << "The system has no locale with another decimal point.";
}

TEST(PropertyListTest, SharedObjectsAreReadAndABombOfThemIsRefused) {
  // A list of two references to the next list, and so on: 2^n texts.
  const auto doubling = [](int levels) {
    std::vector<Bytes> objects;
    for (int i = 1; i <= levels; ++i) {
      const auto next = static_cast<std::uint8_t>(i);
      objects.push_back({0xA2, 0, next, 0, next});
    }
    objects.push_back({0x51, 'x'});
    return binaryFile(objects);
  };
  Value expected("x");
  for (int i = 0; i < 4; ++i) expected = List{expected, expected};
  EXPECT_EQ(readPropertyList(doubling(4)), expected);
  EXPECT_TRUE(readPropertyList(doubling(17)).list());
  EXPECT_TRUE(readPropertyList(doubling(20)).isAbsent());
  EXPECT_TRUE(readPropertyList(doubling(200)).isAbsent());
  // Few references, each to a megabyte.
  Bytes many = {0xAF, 0x10, 200};
  for (int i = 0; i < 200; ++i) many.insert(many.end(), {0, 1});
  Bytes large = {0x4F, 0x12, 0, 0x10, 0, 0};
  large.resize(large.size() + (1 << 20));
  Bytes file = binaryFile({many, large});
  EXPECT_TRUE(readPropertyList(file).isAbsent());
  EXPECT_EQ(readPropertyList(binaryFile({{0xA2, 0, 1, 0, 1}, {0x42, 7, 8}})),
            Value(List{Bytes{7, 8}, Bytes{7, 8}}));
}

TEST(PropertyListTest, CirclesAndDeepNestingAreRefused) {
  EXPECT_TRUE(readObject({0xA1, 0, 0}).isAbsent());
  EXPECT_TRUE(readPropertyList(binaryFile({{0xA1, 0, 1}, {0xA1, 0, 0}})).isAbsent());
  EXPECT_TRUE(readPropertyList(binaryFile({{0xD1, 0, 1, 0, 0}, {0x51, 'a'}})).isAbsent());
  const auto chain = [](int depth) {
    std::vector<Bytes> objects;
    for (int i = 1; i <= depth; ++i) {
      objects.push_back({0xA1, static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i)});
    }
    objects.push_back({0x09});
    return binaryFile(objects);
  };
  EXPECT_TRUE(readPropertyList(chain(512)).list());
  EXPECT_TRUE(readPropertyList(chain(513)).isAbsent());
  EXPECT_TRUE(readPropertyList(chain(10'000)).isAbsent());
}

TEST(PropertyListTest, ObjectsThatAreNotSoundAreRefused) {
  EXPECT_EQ(readObject({0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}), Value(-2));
  EXPECT_EQ(readObject({0x22, 0x3F, 0xC0, 0, 0}), Value(1.5));
  EXPECT_EQ(readObject({0x62, 0xD8, 0x3D, 0xDE, 0x00}), Value("😀"));
  EXPECT_EQ(readObject({0x52, 0xC3, 0xA9}), Value("é"));
  for (const Bytes& object : std::vector<Bytes>{
           {0x00},                                                    // null
           {0x0F},                                                    // filler
           {0x80, 1},                                                 // an archive's reference
           {0xC1, 0, 0},                                              // a set
           {0x14, 0, 0, 0, 0, 0, 0, 0, 0, 255, 0, 0, 0, 0, 0, 0, 0},  // 128 bits
           {0x13, 0},                                                 // cut off
           {0x20, 0},                                                 // a real of one byte
           {0x33, 0x7F, 0xF8, 0, 0, 0, 0, 0, 0},                      // a date that is no number
           {0x33, 0x42, 0x37, 0x48, 0x76, 0xE8, 0, 0, 0},             // a date far away
           {0x45, 1},                                                 // data past the end
           {0x4F, 0x13, 255, 255, 255, 255, 255, 255, 255, 255},
           {0x4F, 0x20, 1},                 // a length that is no integer
           {0x53, 'a', 0, 'b'},             // a text with a zero byte
           {0x51, 0xFF},                    // not UTF-8
           {0x61, 0xD8, 0x3D},              // half a surrogate pair
           {0x62, 0xDE, 0x00, 0xD8, 0x3D},  // a pair the wrong way round
           {0x61, 0, 0},                    // a zero character
           {0x6F, 0x13, 0x80, 0, 0, 0, 0, 0, 0, 1},
           {0xA1, 0, 9},  // no such object
           {0xAF, 0x13, 255, 255, 255, 255, 255, 255, 255, 255},
           {0xDF, 0x13, 0x80, 0, 0, 0, 0, 0, 0, 0},
       }) {
    EXPECT_TRUE(readObject(object).isAbsent()) << static_cast<int>(object.front());
  }
  // A key that is no text.
  EXPECT_TRUE(readPropertyList(binaryFile({{0xD1, 0, 1, 0, 1}, {0x09}})).isAbsent());
}

TEST(PropertyListTest, DamagedFilesAreReadOrRefused) {
  const Value seed = Dictionary{
      {"text", List{"plain", "é😀", ""}},
      {"numbers", List{1, -1, 1000, 0.1, 2.5, true}},
      {"rest", Dictionary{{"text", Date(milliseconds(1709662200000))}, {"data", Bytes(20, 7)}}}};
  const Bytes whole = writePropertyList(seed).value();
  const auto check = [](const Bytes& file) {
    const Value value = readPropertyList(file);
    EXPECT_TRUE(value.isAbsent() || writePropertyList(value));
  };
  for (std::size_t size = 0; size < whole.size(); ++size) {
    check(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
  }
  for (std::size_t position = 0; position < whole.size(); ++position) {
    for (int byte = 0; byte < 256; ++byte) {
      Bytes file = whole;
      file[position] = static_cast<std::uint8_t>(byte);
      check(file);
    }
  }
  std::mt19937 random(1);
  const std::string xml =
      R"(<plist><dict><key>a</key><array><string>x &amp; <![CDATA[y]]></string>)"
      R"(<integer>12</integer><real>1.5</real><true/><data>Zm9v</data></array>)"
      R"(<key>b</key><date>2024-03-05T18:10:00Z</date></dict></plist>)";
  for (const Bytes& origin : {whole, toBytes(xml)}) {
    for (int i = 0; i < 20000; ++i) {
      Bytes file = origin;
      for (unsigned changes = random() % 6 + 1; changes > 0; --changes) {
        file[random() % file.size()] = origin[random() % origin.size()];
      }
      if (i % 4 == 0) file.erase(file.begin() + random() % 20, file.begin() + 20 + random() % 20);
      check(file);
    }
  }
}

}  // namespace
}  // namespace zqm
