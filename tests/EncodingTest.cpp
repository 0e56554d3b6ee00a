// Hexadecimal, base64 and UUIDs.
#include "zqm/util/Encoding.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>
#include <set>

namespace zqm {
namespace {

TEST(EncodingTest, Base64DropsForeignCharactersAndRefusesWrongPadding) {
  EXPECT_EQ(fromBase64(" Zm\r\n9v-_\xFF"), toBytes("foo"));
  EXPECT_EQ(fromBase64("Z!g=!="), toBytes("f"));
  for (const char* text : {"Zg=", "Z===", "====", "Zg==Zg==", "Zg=g", "Zm9v====", "Zm8=="}) {
    EXPECT_EQ(fromBase64(text), std::nullopt) << text;
  }
}

TEST(EncodingTest, UuidsAreRandomOnesOfVersionFourInUpperCase) {
  const std::regex shape("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  std::set<std::string> uuids;
  for (int i = 0; i < 100; ++i) {
    const std::string uuid = *uuids.insert(makeUuid()).first;
    EXPECT_TRUE(std::regex_match(uuid, shape)) << uuid;
  }
  EXPECT_EQ(uuids.size(), 100U);
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
  std::string theirs(36, '?');
  EXPECT_EQ(read(ends[0], theirs.data(), theirs.size()), 36);
  EXPECT_NE(makeUuid(), theirs);
  waitpid(child, nullptr, 0);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace zqm
