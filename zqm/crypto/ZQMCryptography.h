// ZQMCryptography: RSA with a loaded key pair, and AES-256, DES and digest helpers.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/OptionalText.h"
#include "zqm/base/Value.h"

namespace zqm {

struct RsaPublicKey;
struct RsaPrivateKey;

// Handed to every DES call, but without effect: DES runs in ECB mode.
ZQM_EXPORT extern const std::array<std::uint8_t, 8> DES_IV;

// No operation throws or reports: what fails is none, null or false. Texts are UTF-8. An instance
// belongs to one thread; the static operations may be called from any.
class ZQM_EXPORT ZQMCryptography {
 public:
  // Each replaces the key, with none when there is no RSA key of 512 to 8192 bits to be had. A
  // public key comes from a DER X.509 certificate, whose trust is not looked at; a private one is
  // the first of a PKCS#12 file. An absent password is the same as an empty one.
  void loadPublicKeyFromFile(const OptionalText& path);
  void loadPublicKeyFromData(const Bytes& certificate);
  void loadPrivateKeyFromFile(const OptionalText& path, const OptionalText& password);
  void loadPrivateKeyFromData(const Bytes& pkcs12, const OptionalText& password);

  static std::shared_ptr<const RsaPublicKey> getPublicKeyRefrenceFromeData(
      const Bytes& certificate);
  static std::shared_ptr<const RsaPrivateKey> getPrivateKeyRefrenceFromData(
      const Bytes& pkcs12, const OptionalText& password);

  std::shared_ptr<const RsaPublicKey> getPublicKey() const { return publicKey_; }
  std::shared_ptr<const RsaPrivateKey> getPrivateKey() const { return privateKey_; }

  // PKCS#1 v1.5, in as many blocks as the data needs. The text form is base64.
  std::optional<std::string> rsaEncryptString(std::string_view text) const;
  std::optional<Bytes> rsaEncryptData(const Bytes& data) const;

  // Of each block, what stands between the first and the second zero byte: a payload is cut at a
  // zero byte of its own. None for a text that is not base64 or does not decrypt to UTF-8.
  std::optional<std::string> rsaDecryptString(std::string_view base64) const;
  std::optional<Bytes> rsaDecryptData(const Bytes& data) const;

  // PKCS#1 v1.5 over the SHA-1 digest. Of a signature longer than the key's block the first block
  // counts; a shorter one is false.
  bool rsaSHA1VerifyData(const Bytes& data, const Bytes& signature) const;

  // AES-256-CBC, PKCS#7 padding, zero initialisation vector, lower-case hex. The key is padded
  // with zeros or cut to 32 bytes. Of the plain text only as many bytes count as it has UTF-16
  // units, so that text outside ASCII is cut short.
  static std::optional<std::string> AES256Encrypt(std::string_view key,
                                                  std::string_view unencryptedStr);
  static std::optional<std::string> AES256Decrypt(std::string_view key,
                                                  std::string_view undecryptedStr);

  // Single DES in ECB mode, PKCS#7 padding, base64. The first 8 bytes of the key count, fewer
  // give none, as does a ciphertext of more than 1024 bytes.
  static std::optional<std::string> DESEncrypt(std::string_view key,
                                               std::string_view unencryptedStr);
  static std::optional<std::string> DESDecrypt(std::string_view key,
                                               std::string_view undecryptedStr);

  // Lower-case hex. MD5 reads the text up to its first zero byte, the others as many bytes as it
  // has UTF-16 units.
  static std::string MD5(std::string_view text);
  static std::string SHA1(std::string_view text);
  static std::string SHA224(std::string_view text);
  static std::string SHA256(std::string_view text);
  static std::string SHA384(std::string_view text);
  static std::string SHA512(std::string_view text);

 private:
  std::shared_ptr<const RsaPublicKey> publicKey_;
  std::shared_ptr<const RsaPrivateKey> privateKey_;
};

}  // namespace zqm
