// ZQMLocker: encrypts payloads for the backend with the public key inside the library.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

struct RsaPublicKey;

// No operation reports an error. Texts are UTF-8. May be called from any thread.
class ZQM_EXPORT ZQMLocker {
 public:
  // The RSAPublicKey inside a DER SubjectPublicKeyInfo, as far as it is there; none where the
  // header before it is not one of an RSA key.
  static std::optional<Bytes> stripPublicKeyHeader(const std::optional<Bytes>& der);

  // The key of a PEM SubjectPublicKeyInfo or of its bare Base64 body; null when there is no usable
  // one. It stays in memory, in the one place that all imports share.
  static std::shared_ptr<const RsaPublicKey> addPublicKey(std::string_view key);

  // Blocks of PKCS#1 v1.5, cut short at the first that fails; nothing for a null key.
  static Bytes encryptData(const Bytes& data, const std::shared_ptr<const RsaPublicKey>& keyRef);
  // With the key inside the library; none for absent data or without a usable key.
  static std::optional<Bytes> encryptData(const std::optional<Bytes>& data);

  // In upper-case hexadecimal; "" where that is not possible.
  static std::string encryptString(std::string_view text);

  // The dictionary's JSON, encrypted, in upper-case hexadecimal. Where that is not possible, a text
  // that never comes twice: callers post it as a payload, which the backend then refuses.
  static std::string encryptMutableDictionary(const Dictionary& dictionary);

  // Of the text up to its first zero byte, in lower-case hexadecimal.
  static std::string sha1(std::string_view text);
};

// Two upper-case digits for each byte.
ZQM_EXPORT std::string NSDataToHex(const Bytes& data);

// The upper-case hexadecimal digit of a number from 0 to 15.
ZQM_EXPORT char itoh(std::int32_t number);

// Ignores what is outside the alphabet; none when the rest is no Base64 (RFC 4648).
ZQM_EXPORT std::optional<Bytes> base64_decode(std::string_view text);

}  // namespace zqm
