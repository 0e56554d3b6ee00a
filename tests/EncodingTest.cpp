// Hexadecimal, base64 and UUIDs.
#include "zqm/util/Encoding.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <regex>
#include <set>
#include <thread>

namespace zqm {
namespace {

TEST(EncodingTest, HexadecimalHasTwoDigitsForEachByte) {
  const Bytes bytes = {0x00, 0x0F, 0xA5, 0xFF};
  EXPECT_EQ(toHexLower(bytes), "000fa5ff");
  EXPECT_EQ(toHexUpper(bytes), "000FA5FF");
  EXPECT_EQ(toHexLower({}), "");
}

TEST(EncodingTest, Base64IsThatOfTheStandard) {
  const std::pair<const char*, const char*> vectors[] = {{"", ""},
                                                         {"f", "Zg=="},
                                                         {"fo", "Zm8="},
                                                         {"foo", "Zm9v"},
                                                         {"foob", "Zm9vYg=="},
                                                         {"fooba", "Zm9vYmE="},
                                                         {"foobar", "Zm9vYmFy"}};
  for (const auto& [plain, encoded] : vectors) {
    EXPECT_EQ(toBase64(toBytes(plain)), encoded);
    EXPECT_EQ(fromBase64(encoded), toBytes(plain));
  }
  EXPECT_EQ(toBase64({0xFB, 0xFF, 0xFE}), "+//+");
  std::mt19937 random(1);
  for (std::size_t size = 0; size < 200; ++size) {
    Bytes bytes(size);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    EXPECT_EQ(fromBase64(toBase64(bytes)), bytes);
  }
}

TEST(EncodingTest, Base64DropsForeignCharactersAndRefusesWrongPadding) {
  EXPECT_EQ(fromBase64(" Zm\r\n9v-_\xFF"), toBytes("foo"));
  EXPECT_EQ(fromBase64("Z!g=!="), toBytes("f"));
  EXPECT_EQ(fromBase64("!!"), Bytes());
  for (const char* text : {"Z", "Zg", "Zg=", "Zm9vY", "Z===", "====", "Zg==Zg==", "Zg=g",
                           "=Zg=", "Zm9v====", "Zm9v=", "Zm8=="}) {
    EXPECT_EQ(fromBase64(text), std::nullopt) << text;
  }
}

TEST(EncodingTest, UuidsAreRandomOnesOfVersionFourInUpperCase) {
  const std::regex shape("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    const std::string uuid = makeUuid();
    EXPECT_TRUE(std::regex_match(uuid, shape)) << uuid;
    seen.insert(uuid);
  }
  std::vector<std::string> others(100);
  std::thread([&] {
    for (std::string& uuid : others) uuid = makeUuid();
  }).join();
  seen.insert(others.begin(), others.end());
  EXPECT_EQ(seen.size(), 200U);
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
  int status = 1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace zqm
