// ZQMCryptography: published vectors, keys written by several tools, and damaged input.
#include "zqm/crypto/ZQMCryptography.h"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/provider.h>

#include <algorithm>
#include <numeric>

#include "tests/support/ChildProcess.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TestData.h"
#include "zqm/crypto/openssl/OpenSsl.h"
#include "zqm/util/Encoding.h"

namespace zqm::testing {
namespace {

using Crypto = ZQMCryptography;

Crypto withBothKeys() {
  Crypto cryptography;
  cryptography.loadPublicKeyFromData(readTestData("small.der"));
  cryptography.loadPrivateKeyFromData(readTestData("small.p12"), kSmallPassword);
  return cryptography;
}

TEST(CryptographyTest, DigestsMatchRfc1321AndFips180) {
  EXPECT_EQ(Crypto::MD5("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(Crypto::SHA1("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(Crypto::SHA256("abc"),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_TRUE(Crypto::SHA224("abc").starts_with("23097d22"));
  EXPECT_TRUE(Crypto::SHA384("abc").starts_with("cb00753f"));
  EXPECT_TRUE(Crypto::SHA512("abc").starts_with("ddaf35a1"));
}

TEST(CryptographyTest, Md5StopsAtAZeroByteAndTheOthersCountUtf16Units) {
  EXPECT_EQ(Crypto::MD5(std::string_view("abc\0def", 7)), Crypto::MD5("abc"));
  EXPECT_EQ(Crypto::MD5("aé"), toHexLower(digest("MD5", "a\xC3\xA9")));
  EXPECT_EQ(Crypto::SHA256("aé"), toHexLower(digest("SHA256", "a\xC3")));
  EXPECT_EQ(Crypto::SHA1("😀"), toHexLower(digest("SHA1", "\xF0\x9F")));
}

constexpr const char* kAesKey = "a key of its own";
constexpr const char* kAesText = "The quick brown fox jumps over the lazy dog";
// Written by the openssl command.
constexpr const char* kAesHex =
    "8678beb40cbd207e60644990149facd6001406c0f459fe806bbc2f2da7cddc82dbcb19d99db656c766ac5c7e3d88"
    "2364";

TEST(CryptographyTest, AesMatchesVectorsAndFitsKeyAndText) {
  // A block of zeros under a key of zeros (NIST), then its padding.
  EXPECT_EQ(Crypto::AES256Encrypt("", std::string(16, '\0')).value().substr(0, 32),
            "dc95c078a2408989ad48a21492842087");
  EXPECT_EQ(Crypto::AES256Encrypt(kAesKey, kAesText), kAesHex);
  EXPECT_EQ(Crypto::AES256Decrypt(kAesKey, kAesHex), kAesText);
  EXPECT_EQ(Crypto::AES256Decrypt("other", kAesHex), std::nullopt);

  const std::string longKey(32, 'k');
  EXPECT_EQ(Crypto::AES256Encrypt(longKey + "ignored", "x"), Crypto::AES256Encrypt(longKey, "x"));
  EXPECT_EQ(Crypto::AES256Decrypt("any", *Crypto::AES256Encrypt("any", "aé")), std::nullopt);
  EXPECT_EQ(Crypto::AES256Decrypt("any", *Crypto::AES256Encrypt("any", "éa")), "é");
}

TEST(CryptographyTest, AesReadsEachHexPairAsFarAsItIsANumber) {
  for (const char* pair : {"0C", " c", "+c", "cz", "cé"}) {
    EXPECT_EQ(Crypto::AES256Decrypt(kAesKey, std::string(kAesHex).replace(8, 2, pair)), kAesText)
        << pair;
  }
  EXPECT_EQ(Crypto::AES256Decrypt(kAesKey, std::string(kAesHex) + "é"), kAesText);
  // Two UTF-16 units are one more byte, and no whole block.
  EXPECT_EQ(Crypto::AES256Decrypt(kAesKey, std::string(kAesHex) + "😀"), std::nullopt);
}

TEST(CryptographyTest, DesMatchesVectorsAndKeepsItsLimits) {
  // NBS 500-20, variable plaintext.
  const auto encrypted =
      Crypto::DESEncrypt(std::string(8, '\x01'), std::string_view("@\0\0\0\0\0\0\0", 8));
  EXPECT_EQ(toHexUpper(*fromBase64(encrypted.value())).substr(0, 16), "DD7F121CA5015619");

  const std::string longest = "é" + std::string(1021, 'x');
  const std::string base64 = Crypto::DESEncrypt("12345678ignored", longest).value();
  EXPECT_EQ(Crypto::DESDecrypt("12345678", std::string(base64).insert(3, "\n ")), longest);
  EXPECT_EQ(Crypto::DESDecrypt("1234567", base64), std::nullopt);
  EXPECT_EQ(Crypto::DESEncrypt("12345678", longest + "x"), std::nullopt);
  EXPECT_EQ(Crypto::DESEncrypt("1234567", "text"), std::nullopt);
}

TEST(CryptographyTest, RsaCutsDataIntoBlocksAndJoinsThemAgain) {
  const Crypto cryptography = withBothKeys();
  for (const auto& [size, blocks] : {std::pair(0U, 0U), {1, 1}, {117, 1}, {118, 2}, {255, 3}}) {
    Bytes data(size);
    std::iota(data.begin(), data.end(), std::uint8_t{1});
    const Bytes encrypted = cryptography.rsaEncryptData(data).value();
    EXPECT_EQ(encrypted.size(), blocks * 128U);
    EXPECT_EQ(cryptography.rsaDecryptData(encrypted), data) << size;
  }
  const std::string base64 = cryptography.rsaEncryptString("início").value();
  EXPECT_EQ(cryptography.rsaDecryptString(std::string(base64).insert(9, "\r\n")), "início");
}

TEST(CryptographyTest, APayloadEndsAtItsZeroByteAndDamagedOnesAreNeverReadPastTheirEnd) {
  const Crypto cryptography = withBothKeys();
  // A zero byte ends a payload. Zero has none once its leading ones are gone, and the largest
  // number is past the modulus.
  EXPECT_EQ(cryptography.rsaDecryptData(*cryptography.rsaEncryptData(toBytes({"ab\0cd", 5}))),
            toBytes("ab"));
  EXPECT_EQ(cryptography.rsaDecryptData(Bytes(128, 0)), Bytes());
  EXPECT_EQ(cryptography.rsaDecryptData(Bytes(128, 0xFF)), std::nullopt);
  Bytes encrypted = cryptography.rsaEncryptData(Bytes(200, 'x')).value();
  while (!encrypted.empty()) {
    encrypted.pop_back();
    EXPECT_TRUE(cryptography.rsaDecryptData(encrypted));
  }
  EXPECT_EQ(cryptography.rsaDecryptString(*cryptography.rsaEncryptString("\xFF")), std::nullopt);
}

TEST(CryptographyTest, VerificationLooksAtOneBlockOfTheSignature) {
  const Crypto cryptography = withBothKeys();
  const Bytes data = toBytes("signed");
  Bytes signature = readTestData("small.sig");
  EXPECT_TRUE(cryptography.rsaSHA1VerifyData(data, signature));
  EXPECT_FALSE(cryptography.rsaSHA1VerifyData(toBytes("other"), signature));
  EXPECT_FALSE(cryptography.rsaSHA1VerifyData(data, Bytes(signature.begin(), signature.end() - 1)));
  signature.push_back(0);
  EXPECT_TRUE(cryptography.rsaSHA1VerifyData(data, signature));
}

class Pkcs12Test : public Fixture {};

TEST_F(Pkcs12Test, FilesOfEveryToolHoldThePrivateKeyOfTheCertificate) {
  fakes.files->put("/cert.der", readTestData("identity.der"));
  const std::pair<const char*, std::optional<std::string>> files[] = {
      {"openssl", kPassword},
      {"openssl-legacy", kPassword},
      {"openssl-sha512", kPassword},
      {"openssl-empty", std::nullopt},
      {"certtool-utf8", "äpfel & çafé"},
      {"certtool-rc2", kPassword},
      {"certtool-null", ""},
      {"nss", kPassword},
      {"keytool", kPassword}};
  for (const auto& [name, password] : files) {
    fakes.files->put("/key.p12", readTestData(std::string(name) + ".p12"));
    Crypto cryptography;
    cryptography.loadPublicKeyFromFile("/cert.der");
    cryptography.loadPrivateKeyFromFile("/key.p12", password);
    EXPECT_EQ(cryptography.rsaDecryptString(*cryptography.rsaEncryptString("text")), "text")
        << name;
  }
}

TEST_F(Pkcs12Test, WhatHoldsNoUsableKeyReplacesTheKeyWithNone) {
  Bytes endless = readTestData("certtool-rc2.p12");
  const Bytes iterations = {0x02, 0x03, 0x09, 0x27, 0xC0};
  const auto count =
      std::find_end(endless.begin(), endless.end(), iterations.begin(), iterations.end());
  ASSERT_NE(count, endless.end());
  std::fill(count + 2, count + 5, 0x7F);
  for (const Bytes& file : {endless, readTestData("curve.p12"), readTestData("without-mac.p12"),
                            readTestData("small.p12"), Bytes()}) {
    Crypto cryptography = withBothKeys();
    cryptography.loadPrivateKeyFromData(file, kPassword);
    EXPECT_EQ(cryptography.rsaDecryptString(""), std::nullopt);
  }
  Crypto cryptography = withBothKeys();
  cryptography.loadPrivateKeyFromFile(nullptr, nullptr);
  EXPECT_EQ(cryptography.rsaDecryptString(""), std::nullopt);
  cryptography.loadPublicKeyFromData(readTestData("curve.der"));
  EXPECT_EQ(cryptography.rsaEncryptString(""), std::nullopt);
  EXPECT_FALSE(cryptography.rsaSHA1VerifyData({}, Bytes(128)));
}

TEST(CryptographyTest, TheHostsErrorQueueStaysAsItWas) {
  ERR_clear_error();
  ERR_raise(ERR_LIB_USER, 1);
  Crypto cryptography = withBothKeys();
  cryptography.rsaDecryptData(Bytes(128, 0xFF));
  cryptography.loadPublicKeyFromData(toBytes("no certificate"));
  cryptography.loadPrivateKeyFromData(readTestData("small.p12"), "wrong");
  Crypto::AES256Decrypt("key", "00");
  EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 1);
  EXPECT_EQ(ERR_get_error(), 0U);
}

TEST(CryptographyTest, DISABLED_WorksBeforeTheHostChoosesItsProviders) {
  Crypto cryptography;
  cryptography.loadPublicKeyFromData(readTestData("identity.der"));
  cryptography.loadPrivateKeyFromData(readTestData("certtool-rc2.p12"), kPassword);
  ASSERT_EQ(cryptography.rsaDecryptString(*cryptography.rsaEncryptString("text")), "text");
  ASSERT_FALSE(cryptography.rsaSHA1VerifyData({}, Bytes(256, 1)));
  ASSERT_TRUE(Crypto::DESEncrypt("12345678", "text"));
  // In a context that has been used, the default provider would be there already.
  OSSL_PROVIDER* const chosen = OSSL_PROVIDER_load(nullptr, "null");
  EXPECT_EQ(EVP_MD_fetch(nullptr, "SHA256", nullptr), nullptr);
  OSSL_PROVIDER_unload(chosen);
}

TEST(CryptographyTest, TheHostsLibraryContextIsNeverUsed) {
  EXPECT_EQ(runInChild("CryptographyTest.DISABLED_WorksBeforeTheHostChoosesItsProviders"),
            EXIT_SUCCESS);
}

}  // namespace
}  // namespace zqm::testing
