// ZQMCryptography: published vectors, keys written by several tools, and damaged input.
#include "zqm/crypto/ZQMCryptography.h"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/provider.h>

#include <algorithm>
#include <latch>
#include <thread>

#include "tests/support/ChildProcess.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TestData.h"
#include "zqm/crypto/OpenSsl.h"
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

Bytes counting(std::size_t size) {
  Bytes bytes(size);
  std::generate(bytes.begin(), bytes.end(),
                [next = 0]() mutable { return static_cast<std::uint8_t>(1 + next++ % 255); });
  return bytes;
}

TEST(CryptographyTest, DigestsMatchRfc1321AndFips180) {
  EXPECT_EQ(Crypto::MD5("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(Crypto::SHA1("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(Crypto::SHA224("abc"), "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7");
  EXPECT_EQ(Crypto::SHA256("abc"),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(Crypto::SHA384("abc"),
            "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed"
            "8086072ba1e7cc2358baeca134c825a7");
  EXPECT_EQ(Crypto::SHA512("abc"),
            "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
            "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f");
}

TEST(CryptographyTest, Md5StopsAtAZeroByteAndTheOthersCountUtf16Units) {
  EXPECT_EQ(Crypto::MD5(std::string_view("abc\0def", 7)), Crypto::MD5("abc"));
  EXPECT_EQ(Crypto::MD5("aé"), toHexLower(digest("MD5", "a\xC3\xA9")));
  EXPECT_EQ(Crypto::SHA256("aé"), toHexLower(digest("SHA256", "a\xC3")));
  EXPECT_EQ(Crypto::SHA1("😀"), toHexLower(digest("SHA1", "\xF0\x9F")));
}

TEST(CryptographyTest, AesMatchesVectorsAndFitsKeyAndText) {
  // A block of zeros under a key of zeros (NIST), then its padding.
  const auto zeros = Crypto::AES256Encrypt("", std::string(16, '\0'));
  ASSERT_TRUE(zeros);
  EXPECT_EQ(zeros->substr(0, 32), "dc95c078a2408989ad48a21492842087");
  // Written by the openssl command.
  const std::string text = "The quick brown fox jumps over the lazy dog";
  const std::string hex =
      "8678beb40cbd207e60644990149facd6001406c0f459fe806bbc2f2da7cddc82dbcb19d99db656c766ac5c7e3d88"
      "2364";
  EXPECT_EQ(Crypto::AES256Encrypt("a key of its own", text), hex);
  EXPECT_EQ(Crypto::AES256Decrypt("a key of its own", hex), text);

  const std::string longKey = "0123456789abcdef0123456789abcdef";
  EXPECT_EQ(Crypto::AES256Encrypt(longKey + "ignored", text), Crypto::AES256Encrypt(longKey, text));
  EXPECT_EQ(Crypto::AES256Encrypt("any", "").value_or("").size(), 32U);
  EXPECT_EQ(Crypto::AES256Decrypt("any", *Crypto::AES256Encrypt("any", "aé")), std::nullopt);
  EXPECT_EQ(Crypto::AES256Decrypt("any", *Crypto::AES256Encrypt("any", "éa")), "é");
  EXPECT_EQ(Crypto::AES256Decrypt("any", ""), std::nullopt);
  EXPECT_EQ(Crypto::AES256Decrypt("other", hex), std::nullopt);
}

TEST(CryptographyTest, AesReadsEachHexPairAsFarAsItIsANumber) {
  std::string key = "k";
  while (Crypto::AES256Encrypt(key, "text")->at(0) != '0') key += 'k';
  std::string hex = *Crypto::AES256Encrypt(key, "text");
  for (const std::string pair : {" x", "+x", "xz", "xé"}) {
    std::string damaged = hex;
    damaged.replace(0, 2, pair);
    std::replace(damaged.begin(), damaged.begin() + 2, 'x', hex[1]);
    EXPECT_EQ(Crypto::AES256Decrypt(key, damaged), "text") << pair;
  }
  std::transform(hex.begin(), hex.end(), hex.begin(), ::toupper);
  EXPECT_EQ(Crypto::AES256Decrypt(key, hex + "f"), "text");
  EXPECT_EQ(Crypto::AES256Decrypt(key, hex + "é"), "text");
  // Two UTF-16 units are one more byte, and no whole block.
  EXPECT_EQ(Crypto::AES256Decrypt(key, hex + "😀"), std::nullopt);
}

TEST(CryptographyTest, DesMatchesVectorsAndKeepsItsLimits) {
  // NBS 500-20, variable plaintext.
  const std::string weakKey(8, '\x01');
  const auto encrypted = Crypto::DESEncrypt(weakKey, std::string_view("@\0\0\0\0\0\0\0", 8));
  ASSERT_TRUE(encrypted);
  EXPECT_EQ(toHexUpper(*fromBase64(*encrypted)).substr(0, 16), "DD7F121CA5015619");

  const auto accented = Crypto::DESEncrypt("12345678ignored", "aéb");
  EXPECT_EQ(Crypto::DESDecrypt("12345678", std::string(*accented).insert(3, "\n ")), "aéb");
  const std::string longest(1023, 'x');
  EXPECT_EQ(Crypto::DESDecrypt("12345678", *Crypto::DESEncrypt("12345678", longest)), longest);
  EXPECT_EQ(Crypto::DESEncrypt("12345678", longest + "x"), std::nullopt);
  EXPECT_EQ(Crypto::DESEncrypt("1234567", "text"), std::nullopt);
  EXPECT_EQ(Crypto::DESDecrypt("1234567", *accented), std::nullopt);
  EXPECT_EQ(Crypto::DESDecrypt("87654321", *accented), std::nullopt);
  EXPECT_EQ(Crypto::DESDecrypt("12345678", "AAAA"), std::nullopt);
}

TEST(CryptographyTest, RsaCutsDataIntoBlocksAndJoinsThemAgain) {
  const Crypto cryptography = withBothKeys();
  for (const auto& [size, blocks] : {std::pair(0, 0), {1, 1}, {117, 1}, {118, 2}, {300, 3}}) {
    const Bytes data = counting(static_cast<std::size_t>(size));
    const auto encrypted = cryptography.rsaEncryptData(data);
    ASSERT_TRUE(encrypted) << size;
    EXPECT_EQ(encrypted->size(), static_cast<std::size_t>(blocks) * 128);
    EXPECT_EQ(cryptography.rsaDecryptData(*encrypted), data) << size;
  }
  const std::string text = "https://api.example.org/início/" + std::string(200, 'x');
  const auto base64 = cryptography.rsaEncryptString(text);
  ASSERT_TRUE(base64);
  EXPECT_EQ(base64->find('\n'), std::string::npos);
  EXPECT_EQ(cryptography.rsaDecryptString(std::string(*base64).insert(9, "\r\n")), text);
  EXPECT_EQ(cryptography.rsaDecryptString(""), "");
}

TEST(CryptographyTest, APayloadIsCutAtItsOwnZeroByte) {
  const Crypto cryptography = withBothKeys();
  EXPECT_EQ(cryptography.rsaDecryptData(*cryptography.rsaEncryptData(toBytes({"ab\0cd", 5}))),
            toBytes("ab"));
  EXPECT_EQ(cryptography.rsaDecryptData(*cryptography.rsaEncryptData(toBytes({"\0cd", 3}))),
            Bytes());
}

TEST(CryptographyTest, DamagedCiphertextNeverReadsPastItsEnd) {
  const Crypto cryptography = withBothKeys();
  // Zero has no zero byte once its leading ones are gone; the largest number is past the modulus.
  EXPECT_EQ(cryptography.rsaDecryptData(Bytes(128, 0)), Bytes());
  EXPECT_EQ(cryptography.rsaDecryptData(Bytes(128, 0xFF)), std::nullopt);
  EXPECT_EQ(cryptography.rsaDecryptData({1}), Bytes());
  const Bytes encrypted = *cryptography.rsaEncryptData(counting(200));
  for (std::size_t size = 0; size < encrypted.size(); size += 7) {
    EXPECT_TRUE(cryptography.rsaDecryptData(
        Bytes(encrypted.begin(), encrypted.begin() + static_cast<int>(size))));
  }
  const auto notUtf8 = cryptography.rsaEncryptData({'a', 0xFF});
  EXPECT_EQ(cryptography.rsaDecryptString(toBase64(*notUtf8)), std::nullopt);
  EXPECT_EQ(cryptography.rsaDecryptString("abc"), std::nullopt);
}

TEST(CryptographyTest, WithoutAKeyEveryRsaOperationGivesNone) {
  const Crypto cryptography;
  EXPECT_EQ(cryptography.rsaEncryptString(""), std::nullopt);
  EXPECT_EQ(cryptography.rsaDecryptString(""), std::nullopt);
  EXPECT_FALSE(cryptography.rsaSHA1VerifyData({}, Bytes(128)));
}

TEST(CryptographyTest, VerificationLooksAtOneBlockOfTheSignature) {
  const Crypto cryptography = withBothKeys();
  const Bytes data = toBytes("signed");
  Bytes signature = readTestData("small.sig");
  EXPECT_TRUE(cryptography.rsaSHA1VerifyData(data, signature));
  EXPECT_FALSE(cryptography.rsaSHA1VerifyData(toBytes("other"), signature));
  EXPECT_FALSE(cryptography.rsaSHA1VerifyData(data, Bytes(signature.begin(), signature.end() - 1)));
  EXPECT_FALSE(cryptography.rsaSHA1VerifyData(data, {}));
  signature.push_back(0);
  EXPECT_TRUE(cryptography.rsaSHA1VerifyData(data, signature));
  signature.front() ^= 1;
  EXPECT_FALSE(cryptography.rsaSHA1VerifyData(data, signature));
}

struct File {
  const char* name;
  std::optional<std::string> password;
};

class Pkcs12Test : public Fixture, public ::testing::WithParamInterface<File> {};

TEST_P(Pkcs12Test, HoldsThePrivateKeyOfTheCertificate) {
  fakes.files->put("/key.p12", readTestData(std::string(GetParam().name) + ".p12"));
  fakes.files->put("/cert.der", readTestData("identity.der"));
  Crypto cryptography;
  cryptography.loadPublicKeyFromFile("/cert.der");
  cryptography.loadPrivateKeyFromFile("/key.p12", GetParam().password);
  EXPECT_EQ(cryptography.rsaDecryptString(*cryptography.rsaEncryptString("text")), "text");
}

INSTANTIATE_TEST_SUITE_P(
    WrittenBy, Pkcs12Test,
    ::testing::Values(File{"openssl", kPassword}, File{"openssl-legacy", kPassword},
                      File{"openssl-sha512", kPassword}, File{"openssl-empty", std::nullopt},
                      File{"certtool-utf8", "äpfel & çafé"}, File{"certtool-rc2", kPassword},
                      File{"certtool-null", ""}, File{"nss", kPassword},
                      File{"keytool", kPassword}),
    [](const auto& test) {
      std::string name = test.param.name;
      std::erase(name, '-');
      return name;
    });

TEST_F(Pkcs12Test, WhatHoldsNoUsableKeyReplacesTheKeyWithNone) {
  Bytes endless = readTestData("certtool-rc2.p12");
  const Bytes iterations = {0x02, 0x03, 0x09, 0x27, 0xC0};
  const auto count =
      std::find_end(endless.begin(), endless.end(), iterations.begin(), iterations.end());
  ASSERT_NE(count, endless.end());
  std::fill(count + 2, count + 5, 0x7F);
  const Bytes curve = readTestData("curve.p12");
  for (const Bytes& file : {endless, curve, readTestData("without-mac.p12"), Bytes()}) {
    Crypto cryptography = withBothKeys();
    cryptography.loadPrivateKeyFromData(file, kPassword);
    EXPECT_EQ(cryptography.getPrivateKey(), nullptr);
  }
  Crypto cryptography = withBothKeys();
  cryptography.loadPrivateKeyFromData(readTestData("openssl.p12"), "Open sesame");
  EXPECT_EQ(cryptography.getPrivateKey(), nullptr);
  cryptography.loadPublicKeyFromData(readTestData("curve.der"));
  EXPECT_EQ(cryptography.getPublicKey(), nullptr);
  cryptography.loadPublicKeyFromFile("/nowhere");
  cryptography.loadPrivateKeyFromFile(std::nullopt, kPassword);
  EXPECT_EQ(cryptography.getPrivateKey(), nullptr);
}

TEST(CryptographyTest, DamagedFilesNeitherCrashNorHang) {
  Crypto cryptography;
  for (const char* name : {"small.der", "small.p12"}) {
    const Bytes whole = readTestData(name);
    for (std::size_t i = 0; i < whole.size(); ++i) {
      for (const std::uint8_t change : {0x01, 0x7F, 0x80, 0xFF}) {
        Bytes damaged = whole;
        damaged[i] ^= change;
        if (change == 0xFF) damaged.resize(i);
        cryptography.loadPublicKeyFromData(damaged);
        cryptography.loadPrivateKeyFromData(damaged, kSmallPassword);
        cryptography.rsaEncryptString("text");
      }
    }
  }
}

TEST(CryptographyTest, TheHostsErrorQueueStaysAsItWas) {
  const auto fail = [] {
    Crypto cryptography = withBothKeys();
    cryptography.rsaDecryptData(Bytes(128, 0xFF));
    cryptography.loadPublicKeyFromData(toBytes("no certificate"));
    cryptography.loadPrivateKeyFromData(readTestData("small.p12"), "wrong");
    cryptography.loadPrivateKeyFromData(toBytes("no file"), "wrong");
    Crypto::AES256Decrypt("key", "00");
  };
  ERR_clear_error();
  fail();
  EXPECT_EQ(ERR_peek_error(), 0U);
  ERR_raise(ERR_LIB_USER, 1);
  ERR_raise(ERR_LIB_USER, 2);
  fail();
  EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 1);
  EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 2);
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

TEST(CryptographyTest, ManyThreadsLoadAndDecryptAtOnce) {
  const auto encrypted = withBothKeys().rsaEncryptString("text");
  std::latch start(8);
  std::atomic<int> failures = 0;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i) {
      threads.emplace_back([&] {
        start.arrive_and_wait();
        for (int round = 0; round < 20; ++round) {
          if (withBothKeys().rsaDecryptString(*encrypted) != "text") ++failures;
          if (Crypto::SHA256("abc").substr(0, 4) != "ba78") ++failures;
        }
      });
    }
  }
  EXPECT_EQ(failures, 0);
}

}  // namespace
}  // namespace zqm::testing
