// OpenSSL for the sources of this folder and of util; no public header includes this one.
#pragma once

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include <memory>
#include <string_view>

#include "zqm/base/Value.h"
#include "zqm/platform/OpenSslGate.h"

namespace zqm {

// Stands inside the gate and, at its end, takes this scope's errors off the thread's error queue,
// which may be the host's.
class OpenSslScope {
 public:
  OpenSslScope();
  ~OpenSslScope();
  OpenSslScope(const OpenSslScope&) = delete;
  OpenSslScope& operator=(const OpenSslScope&) = delete;

  // False when OpenSSL must not be called any more.
  explicit operator bool() const { return static_cast<bool>(gate_); }

 private:
  const OpenSslGate gate_;
};

// The library's own context, with the providers "default" and, where the system has it, "legacy".
// Made on first use, inside a scope, and never freed.
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

// The digest with OpenSSL's `name` for it ("MD5", "SHA256"); empty when there is none.
Bytes digest(const char* name, std::string_view data);

}  // namespace zqm
