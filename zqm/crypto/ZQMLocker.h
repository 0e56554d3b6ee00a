// ZQMLocker: encrypts payloads for the backend with the built-in public key.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

struct RsaPublicKey;

// No operation reports an error. Strings are UTF-8. Thread-safe.
class ZQM_EXPORT ZQMLocker {
 public:
  // Removes the header of a DER SubjectPublicKeyInfo and returns the rest, the RSAPublicKey, even
  // if truncated. Returns std::nullopt if the header is not that of an RSA key.
  static std::optional<Bytes> stripPublicKeyHeader(const std::optional<Bytes>& der);

  // Reads the key of a PEM SubjectPublicKeyInfo or of its bare base64 body; returns null if it is
  // not usable. The key is cached until another one is imported.
  static std::shared_ptr<const RsaPublicKey> addPublicKey(std::string_view key);

  // Returns blocks of PKCS#1 v1.5, up to the first one that fails; nothing for a null key.
  static Bytes encryptData(const Bytes& data, const std::shared_ptr<const RsaPublicKey>& keyRef);
  // Encrypts with the built-in key. Returns std::nullopt for absent data or without a usable key.
  static std::optional<Bytes> encryptData(const std::optional<Bytes>& data);

  // Upper-case hexadecimal, or "" on failure.
  static std::string encryptString(std::string_view text);

  // Encrypts the dictionary's JSON, in upper-case hexadecimal. On failure returns a unique text,
  // because callers post the result as it is; the backend rejects it.
  static std::string encryptMutableDictionary(const Dictionary& dictionary);

  // The digest of the text up to its first zero byte, in lower-case hexadecimal.
  static std::string sha1(std::string_view text);
};

// Upper case, two digits for each byte.
ZQM_EXPORT std::string NSDataToHex(const Bytes& data);

// The upper-case hexadecimal digit of a number from 0 to 15.
ZQM_EXPORT char itoh(std::int32_t number);

// Ignores characters outside the alphabet; std::nullopt if the rest is not base64 (RFC 4648).
ZQM_EXPORT std::optional<Bytes> base64_decode(std::string_view text);

}  // namespace zqm
