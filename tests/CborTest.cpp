// Values as CBOR: what round-trips, and what no bytes can do to the reader.
#include "zqm/util/Cbor.h"

#include <limits>

#include "tests/support/FakePlatform.h"

namespace zqm {
namespace {

std::string written(const Value& value) {
  std::string bytes;
  putCbor(bytes, value);
  return bytes;
}

Value nested(std::size_t levels) {
  Value value = "inside";
  for (std::size_t level = 0; level < levels; ++level) {
    value = level % 2 == 0 ? Value(List{std::move(value)}) : Value(Dictionary{{"k", value}});
  }
  return value;
}

TEST(CborTest, EveryKindReadsBack) {
  const auto at = [](std::int64_t milliseconds) {
    return Date(std::chrono::milliseconds(milliseconds));
  };
  List all = {Value::Null(),
              true,
              false,
              0,
              23,
              24,
              -1,
              -25,
              1 << 30,
              INT64_MAX,
              INT64_MIN,
              1.5,
              -0.25,
              std::numeric_limits<double>::infinity(),
              "",
              "é",
              std::string("a\0b", 3),
              "bad \xff\xed\xa0\x80",
              Bytes(),
              Bytes{0, 255},
              List(),
              Dictionary(),
              std::string(70'000, 'x')};
  for (const std::int64_t time : {std::int64_t{0}, std::int64_t{1709662200123}, std::int64_t{-1},
                                  std::int64_t{-62135596800000}, std::int64_t{4398046511103999},
                                  INT64_MAX, INT64_MIN, INT64_MAX / 1000 * 1000}) {
    all.emplace_back(at(time));
  }
  for (const Value& each : all) {
    EXPECT_EQ(readCbor(written(each)), each) << each.textForm().substr(0, 40);
  }
  const Value whole = Dictionary{{"list", all}, {std::string("\0\xff", 2), Dictionary{{"", all}}}};
  EXPECT_EQ(readCbor(written(whole)), whole);
  EXPECT_EQ(readCbor(written(Value())), Value(Value::Null()));
  EXPECT_EQ(readCbor(written(List{1, Value(), 2})), Value(List{1, 2}));
}

TEST(CborTest, WritesNoDeeperThanItReads) {
  EXPECT_EQ(readCbor(written(nested(512))), nested(512));
  const auto cut = readCbor(written(nested(600)));
  ASSERT_TRUE(cut.has_value());
  EXPECT_EQ(written(*cut), written(nested(600)));
}

TEST(CborTest, RefusesWhatIsNotOneValueOfTheseKinds) {
  using namespace std::string_literals;
  const std::string inside = written(nested(3));
  for (const std::string& bytes :
       {""s, inside + '\0', std::string(40'000, '\x7F'), std::string(40'000, '\x9F'),
        std::string(40'000, '\xBF'), std::string(40'000, '\xC1'), std::string(513, '\x81') + "\x01",
        // More elements than there are bytes, in lists, pairs and texts.
        "\x9A\xFF\xFF\xFF\xFF"s, "\x9B\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s,
        "\xBB\x00\x00\x00\x01\x00\x00\x00\x00"s, "\x7B\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFFx"s,
        // Tags: another than that of a date, and dates of what is no number or beyond all dates.
        "\xC0\x61x"s, "\xC1\x61x"s, "\xC1\x80"s, "\xC1\xC1\x01"s, "\xC1\xFB\x7F\xF8\0\0\0\0\0\0"s,
        "\xC1\x1B\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s, "\xC1\xFB\x43\x50\0\0\0\0\0\0"s,
        // Undefined, a key that is no text, a number below 64 bits, reserved heads.
        "\xF7"s, "\xA1\x01\x01"s, "\xA1\x80\x01"s, "\x3B\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s, "\x1C"s,
        "\xFF"s, "\xF8\x20"s}) {
    EXPECT_EQ(readCbor(bytes), std::nullopt) << ::testing::PrintToString(bytes.substr(0, 12));
  }
  const std::string whole = written(
      List{1.5, "text", Bytes(30), testing::kNow, Dictionary{{"key", List{100'000, false}}}});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_EQ(readCbor(std::string_view(whole).substr(0, size)), std::nullopt) << size;
  }
}

TEST(CborTest, TakesHalfAMillionValuesAndNoMore) {
  const auto listOf = [](std::size_t claimed, std::size_t there) {
    std::string bytes;
    putCborList(bytes, claimed);
    return bytes.append(there, '\x01');
  };
  EXPECT_TRUE(readCbor(listOf(499'999, 499'999)).has_value());
  EXPECT_FALSE(readCbor(listOf(500'000, 500'000)).has_value());
}

}  // namespace
}  // namespace zqm
