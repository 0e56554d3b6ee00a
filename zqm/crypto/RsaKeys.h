// RSA keys as OpenSSL holds them, and the files they come from. Private to this folder.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "zqm/crypto/OpenSsl.h"

namespace zqm {

// A key of 512 to 8192 bits.
class RsaKey {
 public:
  explicit RsaKey(KeyPtr key) : key_(std::move(key)) {}
  ~RsaKey();
  RsaKey(const RsaKey&) = delete;
  RsaKey& operator=(const RsaKey&) = delete;

  // Both only inside an OpenSslScope. `newContext` is null when memory runs out.
  std::size_t blockSize() const;
  KeyContextPtr newContext() const;

 private:
  KeyPtr key_;
};

struct RsaPublicKey : RsaKey {
  using RsaKey::RsaKey;

  // Appends the data to `blocks` in as many blocks of PKCS#1 v1.5 as it needs. Ends at the first
  // one that fails, and is false then.
  bool encrypt(const Bytes& data, Bytes& blocks) const;
};

struct RsaPrivateKey : RsaKey {
  using RsaKey::RsaKey;
};

// The key of a DER X.509 certificate, whoever signed it; null when there is no usable one.
std::shared_ptr<const RsaPublicKey> publicKeyOfCertificate(const Bytes& certificate);

// The key of a DER RSAPublicKey (RFC 8017); null when it is no usable one.
std::shared_ptr<const RsaPublicKey> publicKeyOfPkcs1(const Bytes& rsaPublicKey);

// The first private key of a PKCS#12 file (RFC 7292); null when there is no usable one, the
// password is wrong or the file asks for millions of iterations. An absent and an empty password
// are the same.
std::shared_ptr<const RsaPrivateKey> privateKeyOfPkcs12(const Bytes& file,
                                                        const std::optional<std::string>& password);

}  // namespace zqm
