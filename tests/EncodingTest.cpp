// Hexadecimal, base64 and UUIDs.
#include "zqm/util/Encoding.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>
#include <set>
#include <thread>

namespace zqm {
namespace {

TEST(EncodingTest, HexadecimalHasTwoDigitsForEachByte) {
  EXPECT_EQ(toHexLower({0x00, 0x0F, 0xA5, 0xFF}), "000fa5ff");
  EXPECT_EQ(toHexUpper({0x00, 0x0F, 0xA5, 0xFF}), "000FA5FF");
}

TEST(EncodingTest, Base64IsThatOfTheStandard) {
  for (const auto& [plain, encoded] : {std::pair("", ""),
                                       {"f", "Zg=="},
                                       {"fo", "Zm8="},
                                       {"foo", "Zm9v"},
                                       {"foob", "Zm9vYg=="},
                                       {"\xFB\xFF\xFE\x7F", "+//+fw=="}}) {
    EXPECT_EQ(toBase64(toBytes(plain)), encoded);
    EXPECT_EQ(fromBase64(encoded), toBytes(plain));
  }
}

TEST(EncodingTest, Base64DropsForeignCharactersAndRefusesWrongPadding) {
  EXPECT_EQ(fromBase64(" Zm\r\n9v-_\xFF"), toBytes("foo"));
  EXPECT_EQ(fromBase64("Z!g=!="), toBytes("f"));
  EXPECT_EQ(fromBase64("!!"), Bytes());
  for (const char* text :
       {"Z", "Zg", "Zg=", "Z===", "====", "Zg==Zg==", "Zg=g", "=Zg=", "Zm9v====", "Zm8=="}) {
    EXPECT_EQ(fromBase64(text), std::nullopt) << text;
  }
}

TEST(EncodingTest, UuidsAreRandomOnesOfVersionFourInUpperCase) {
  const std::regex shape("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  std::vector<std::string> uuids(200);
  const auto make = [&](std::size_t from) {
    for (std::size_t i = from; i < from + 100; ++i) uuids[i] = makeUuid();
  };
  std::thread other(make, 100);
  make(0);
  other.join();
  for (const std::string& uuid : uuids) EXPECT_TRUE(std::regex_match(uuid, shape)) << uuid;
  EXPECT_EQ(std::set(uuids.begin(), uuids.end()).size(), 200U);
}

TEST(EncodingTest, AForkedProcessMakesUuidsOfItsOwn) {
  makeUuid();
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    const std::string uuid = makeUuid();
    _exit(write(ends[1], uuid.data(), uuid.size()) == 36 ? 0 : 1);
  }
  char theirs[36];
  EXPECT_EQ(read(ends[0], theirs, sizeof theirs), 36);
  EXPECT_NE(makeUuid(), std::string(theirs, sizeof theirs));
  waitpid(child, nullptr, 0);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace zqm
