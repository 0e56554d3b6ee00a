// OpenSSL for the sources of this folder and of util; do not include it from public headers.
#pragma once

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include <memory>
#include <string_view>

#include "zqm/base/Value.h"
#include "zqm/crypto/openssl/OpenSslGate.h"

namespace zqm {

// Enters the gate. On destruction, removes this scope's errors from the thread's error queue, which
// may also hold errors of the host.
class OpenSslScope {
 public:
  OpenSslScope();
  ~OpenSslScope();

  // False if OpenSSL must not be called any more.
  explicit operator bool() const { return static_cast<bool>(gate_); }

 private:
  const OpenSslGate gate_;
};

// Returns the library's own context, with the providers "default" and, if installed, "legacy". It
// is created on first use, which must be inside a scope, and never freed.
OSSL_LIB_CTX* openSslContext();

template <auto function>
struct OpenSslDeleter {
  template <class T>
  void operator()(T* pointer) const {
    function(pointer);
  }
};

template <class T, auto function>
using OpenSslPtr = std::unique_ptr<T, OpenSslDeleter<function>>;

using CipherPtr = OpenSslPtr<EVP_CIPHER, EVP_CIPHER_free>;
using CipherContextPtr = OpenSslPtr<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;
using DigestPtr = OpenSslPtr<EVP_MD, EVP_MD_free>;
using KeyPtr = OpenSslPtr<EVP_PKEY, EVP_PKEY_free>;
using KeyContextPtr = OpenSslPtr<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using Pkcs12Ptr = OpenSslPtr<PKCS12, PKCS12_free>;
using CertificatePtr = OpenSslPtr<X509, X509_free>;

// Returns the digest that OpenSSL calls `name` ("MD5", "SHA256"), or an empty vector on failure.
Bytes digest(const char* name, std::string_view data);

}  // namespace zqm
