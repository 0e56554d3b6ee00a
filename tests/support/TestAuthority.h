// A certificate authority of the tests' own.
#pragma once

#include <string>

#include "tests/support/TemporaryDirectory.h"
#include "tools/zqm/HttpServer.h"
#include "zqm/crypto/openssl/OpenSsl.h"

namespace zqm::testing {

class TestAuthority {
 public:
  TestAuthority();

  // What a client trusts that trusts this authority.
  std::string authoritiesFile() const { return directory_.path() / "authority.pem"; }
  // A certificate for a subject alternative name such as "IP:127.0.0.1", and its key.
  tools::TlsFiles issue(const std::string& subjectAlternativeName);

 private:
  // `extension` is OpenSSL's number for it.
  CertificatePtr certify(EVP_PKEY* key, const std::string& name, int extension,
                         const std::string& value);

  const TemporaryDirectory directory_;
  const KeyPtr key_{EVP_EC_gen("P-256")};
  CertificatePtr certificate_;
  int issued_ = 0;
};

}  // namespace zqm::testing
