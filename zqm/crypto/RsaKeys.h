// RSA keys as OpenSSL objects, and the files that they are read from. Private to this folder.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "zqm/crypto/openssl/OpenSsl.h"

namespace zqm {

// A key of 512 to 8192 bits.
class RsaKey {
 public:
  explicit RsaKey(KeyPtr key) : key_(std::move(key)) {}
  ~RsaKey();
  RsaKey(const RsaKey&) = delete;
  RsaKey& operator=(const RsaKey&) = delete;

  // Call both only inside an OpenSslScope. `newContext` returns null if out of memory.
  std::size_t blockSize() const;
  KeyContextPtr newContext() const;

 private:
  KeyPtr key_;
};

struct RsaPublicKey : RsaKey {
  using RsaKey::RsaKey;

  // Encrypts the data in blocks (PKCS#1 v1.5) and appends them to `blocks`. Stops at the first
  // block that fails and returns false.
  bool encrypt(const Bytes& data, Bytes& blocks) const;
};

struct RsaPrivateKey : RsaKey {
  using RsaKey::RsaKey;
};

// Reads the key of a DER X.509 certificate, whoever signed it; null if it is not usable.
std::shared_ptr<const RsaPublicKey> publicKeyOfCertificate(const Bytes& certificate);

// Reads a DER RSAPublicKey (RFC 8017); null if it is not usable.
std::shared_ptr<const RsaPublicKey> publicKeyOfPkcs1(const Bytes& rsaPublicKey);

// Reads the first private key of a PKCS#12 file (RFC 7292). Returns null if there is no usable one,
// the password is wrong, or the file demands millions of iterations. An absent password is treated
// as an empty one.
std::shared_ptr<const RsaPrivateKey> privateKeyOfPkcs12(const Bytes& file,
                                                        const std::optional<std::string>& password);

}  // namespace zqm
