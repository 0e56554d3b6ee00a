// Values as CBOR: what round-trips, and that no bytes crash the reader or make it use much memory.
#include "zqm/util/Cbor.h"

#include <cmath>

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
  List dates;
  for (const std::int64_t time : {std::int64_t{0}, std::int64_t{1709662200123}, std::int64_t{-1},
                                  std::int64_t{-62135596800000}, std::int64_t{4398046511103999},
                                  INT64_MAX, INT64_MIN, INT64_MAX / 1000 * 1000}) {
    dates.emplace_back(Date(std::chrono::milliseconds(time)));
  }
  const List numbers = {0, 23, 24, -1, -25, 1 << 30, INT64_MAX, INT64_MIN, 1.5, -0.25, HUGE_VAL};
  const List texts = {"", "é", std::string("a\0b", 3), "bad \xff\xed\xa0\x80",
                      std::string(70'000, 'x')};
  const List others = {Value::Null(), true, false, Bytes(), Bytes{0, 255}, List(), Dictionary()};
  const Value whole = Dictionary{{"dates", dates},
                                 {"", numbers},
                                 {"others", others},
                                 {std::string("\0\xff", 2), Dictionary{{"", texts}}}};
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

TEST(CborTest, RefusesEachMissingEnd) {
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
