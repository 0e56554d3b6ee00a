// ZQMLocker: keys whole, damaged and hostile, and payloads that their receiver can open.
#include "zqm/crypto/ZQMLocker.h"

#include <string>

#include "tests/support/FakePlatform.h"
#include "tests/support/Threads.h"
#include "tools/zqm/LockerKey.h"
#include "zqm/base/Version.h"
#include "zqm/crypto/LockerKey.h"
#include "zqm/util/Encoding.h"

namespace zqm {
namespace {

using tools::openLockerPayload;

constexpr std::size_t kHeaderSize = 22;

class LockerTest : public zqm::testing::Fixture {
 protected:
  LockerTest() {
    body.erase(0, body.find('\n'));
    body.erase(body.find("-----"));
    der = base64_decode(body).value();
  }

  // The Base64 body of the key inside the library, and what it stands for.
  std::string body = lockerPublicKey;
  Bytes der;
};

TEST_F(LockerTest, HeaderIsRecognisedByteByByteAndNothingIsReadPastTheEnd) {
  const auto key = ZQMLocker::stripPublicKeyHeader(der);
  EXPECT_EQ(key, Bytes(der.begin() + kHeaderSize, der.end()));
  EXPECT_EQ(ZQMLocker::stripPublicKeyHeader(std::nullopt), std::nullopt);
  const std::string swapped = "-----END PUBLIC KEY-----" + body + "-----BEGIN PUBLIC KEY-----";
  EXPECT_EQ(ZQMLocker::addPublicKey(swapped), nullptr);
  for (std::size_t size = 0; size < der.size(); ++size) {
    const Bytes cut(der.begin(), der.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(ZQMLocker::stripPublicKeyHeader(cut).has_value(), size >= kHeaderSize) << size;
    EXPECT_EQ(ZQMLocker::addPublicKey(toBase64(cut)), nullptr) << size;
  }
  for (std::size_t i = 0; i < kHeaderSize; ++i) {
    Bytes wrong = der;
    // The lengths start at 1 and 19; what they say at 2 and 20 is not looked at.
    wrong[i] = i == 1 || i == 19 ? 0xFF : static_cast<std::uint8_t>(wrong[i] ^ 1);
    EXPECT_EQ(ZQMLocker::stripPublicKeyHeader(wrong).has_value(), i == 2 || i == 20) << i;
  }
}

TEST_F(LockerTest, ConcurrentImportsOfTwoKeysAndAFailingOneAreSafe) {
  Bytes other = der;
  std::uint8_t& lastOfModulus = other.at(156);
  lastOfModulus ^= 2;
  zqm::testing::onThreads(4, [this, theirs = toBase64(other)](int thread) {
    const Process::Scope inside(*process);
    for (int round = 0; round < 50; ++round) {
      const auto key = ZQMLocker::addPublicKey(thread % 2 == 0 ? body : theirs);
      EXPECT_EQ(ZQMLocker::encryptData({1, 2, 3}, key).size(), 128U);
    }
  });
  // An even modulus can be imported, but nothing can be encrypted with it.
  lastOfModulus ^= 1;
  EXPECT_EQ(ZQMLocker::encryptData({1, 2, 3}, ZQMLocker::addPublicKey(toBase64(other))), Bytes());
}

TEST_F(LockerTest, PayloadTakesABlockForEach117BytesAndItsReceiverOpensIt) {
  for (const auto& [size, digits] : {std::pair(0, 0), {1, 256}, {117, 256}, {118, 512}}) {
    const std::string text(size, '\0');
    const std::string payload = ZQMLocker::encryptString(text);
    EXPECT_EQ(payload.size(), digits);
    if (std::string_view(buildInformation) != "development locker key") continue;
    EXPECT_EQ(openLockerPayload(payload), toBytes(text));
    EXPECT_EQ(openLockerPayload(ZQMLocker::encryptMutableDictionary({{"name", "é"}, {"n", size}})),
              toBytes(R"({"name":"é","n":)" + std::to_string(size) + "}"));
  }
  const Dictionary noJson = {{"date", zqm::testing::kNow}};
  EXPECT_NE(ZQMLocker::encryptMutableDictionary(noJson),
            ZQMLocker::encryptMutableDictionary(noJson));
}

TEST_F(LockerTest, HexadecimalAndDigestHaveTheirCase) {
  EXPECT_EQ(NSDataToHex({0x00, 0xAB, 0xFF}), "00ABFF");
  EXPECT_EQ(ZQMLocker::sha1(std::string_view("abc\0def", 7)),
            "a9993e364706816aba3e25717850c26c9cd0d89d");
}

}  // namespace
}  // namespace zqm
