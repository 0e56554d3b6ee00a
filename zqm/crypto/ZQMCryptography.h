// ZQMCryptography: RSA with a loaded key pair, and AES-256, DES and digest functions.
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

// Passed to every DES call, but without effect, because DES runs in ECB mode.
ZQM_EXPORT extern const std::array<std::uint8_t, 8> DES_IV;

// No operation throws or reports: on failure it returns std::nullopt, null or false. Strings are
// UTF-8. Use an instance from one thread only; the static operations are thread-safe.
class ZQM_EXPORT ZQMCryptography {
 public:
  // Each replaces the key; without a usable RSA key of 512 to 8192 bits, none is loaded afterwards.
  // A public key is read from a DER X.509 certificate, whose trust is not checked, a private key is
  // the first of a PKCS#12 file (RFC 7292), which must not demand millions of iterations. An absent
  // password is treated as an empty one.
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

  // Takes of each block the bytes after the padding up to the next zero byte: a payload ends at its
  // first one. Returns std::nullopt for text that is not base64 or does not decrypt to UTF-8.
  std::optional<std::string> rsaDecryptString(std::string_view base64) const;
  std::optional<Bytes> rsaDecryptData(const Bytes& data) const;

  // PKCS#1 v1.5 over the SHA-1 digest. Only the first block of a signature longer than the key's
  // block is used; a shorter one gives false.
  bool rsaSHA1VerifyData(const Bytes& data, const Bytes& signature) const;

  // AES-256-CBC, PKCS#7 padding, zero initialisation vector, lower-case hex. The key is padded with
  // zeros or cut to 32 bytes. Encrypts only the first n bytes of the UTF-8 text, n being its length
  // in UTF-16 units: text with non-ASCII characters is truncated ("é!" encrypts as "é").
  static std::optional<std::string> AES256Encrypt(std::string_view key,
                                                  std::string_view unencryptedStr);
  static std::optional<std::string> AES256Decrypt(std::string_view key,
                                                  std::string_view undecryptedStr);

  // Single DES in ECB mode, PKCS#7 padding, base64. Uses the first 8 bytes of the key. Returns
  // std::nullopt for a shorter key and for a ciphertext of more than 1024 bytes.
  static std::optional<std::string> DESEncrypt(std::string_view key,
                                               std::string_view unencryptedStr);
  static std::optional<std::string> DESDecrypt(std::string_view key,
                                               std::string_view undecryptedStr);

  // Lower-case hex. MD5 reads the text up to its first zero byte, the others only its first n
  // bytes, n being its length in UTF-16 units.
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
