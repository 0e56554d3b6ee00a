// RSA keys as OpenSSL objects. Private to this folder.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "zqm/crypto/openssl/OpenSsl.h"

namespace zqm {

// A key of 512 to 8192 bits.
class RsaKey {
 public:
  explicit RsaKey(KeyPtr key) : key_(std::move(key)) {}
  ~RsaKey();

  // Call both only inside an OpenSslScope. `newContext` returns null if out of memory.
  std::size_t blockSize() const;
  KeyContextPtr newContext() const;

 protected:
  struct Operation {
    decltype(&EVP_PKEY_encrypt_init) begin;
    decltype(&EVP_PKEY_encrypt) run;
    int padding;
    // What the padding takes of each block.
    std::size_t paddingSize;
  };

  // Applies the operation to the data in chunks and calls `take` with each result. Stops at the
  // first chunk that fails and returns false.
  bool apply(const Operation& operation, const Bytes& data,
             const std::function<void(const Bytes&)>& take) const;

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

  // Decrypts blocks and joins their payloads; std::nullopt if a block fails.
  std::optional<Bytes> decrypt(const Bytes& blocks) const;
};

// Reads a DER RSAPublicKey (RFC 8017); null if it is not usable.
std::shared_ptr<const RsaPublicKey> publicKeyOfPkcs1(const Bytes& rsaPublicKey);

}  // namespace zqm
