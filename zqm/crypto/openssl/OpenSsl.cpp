// The private library context, the error queue's mark, and digests.
#include "zqm/crypto/openssl/OpenSsl.h"

#include <openssl/err.h>
#include <openssl/provider.h>

namespace zqm {

OpenSslScope::OpenSslScope() {
  if (gate_) ERR_set_mark();
}

OpenSslScope::~OpenSslScope() {
  if (gate_) ERR_pop_to_mark();
}

OSSL_LIB_CTX* openSslContext() {
  static OSSL_LIB_CTX* const context = [] {
    OSSL_LIB_CTX* made = OSSL_LIB_CTX_new();
    OSSL_PROVIDER_load(made, "default");
    OSSL_PROVIDER_load(made, "legacy");
    return made;
  }();
  return context;
}

Bytes digest(const char* name, std::string_view data) {
  const OpenSslScope openSsl;
  if (!openSsl) return {};
  const DigestPtr method(EVP_MD_fetch(openSslContext(), name, nullptr));
  if (!method) return {};
  Bytes result(static_cast<std::size_t>(EVP_MD_get_size(method.get())));
  if (EVP_Digest(data.data(), data.size(), result.data(), nullptr, method.get(), nullptr) != 1) {
    return {};
  }
  return result;
}

}  // namespace zqm
