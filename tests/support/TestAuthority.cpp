// Keys and certificates, made with OpenSSL.
#include "tests/support/TestAuthority.h"

#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace zqm::testing {
namespace {

constexpr long kDay = 24L * 60 * 60;

using BioPtr = OpenSslPtr<BIO, BIO_free>;

}  // namespace

TestAuthority::TestAuthority() {
  // Two authorities of one name would be told apart by their signatures only.
  certificate_ =
      certify(key_.get(), directory_.path().filename(), NID_basic_constraints, "critical,CA:TRUE");
  const BioPtr file(BIO_new_file(authoritiesFile().c_str(), "w"));
  PEM_write_bio_X509(file.get(), certificate_.get());
}

CertificatePtr TestAuthority::certify(EVP_PKEY* key, const std::string& name, int extension,
                                      const std::string& value) {
  CertificatePtr made(X509_new());
  X509* const x509 = made.get();
  X509_set_version(x509, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(x509), ++issued_);
  X509_gmtime_adj(X509_getm_notBefore(x509), -kDay);
  X509_gmtime_adj(X509_getm_notAfter(x509), kDay);
  X509_set_pubkey(x509, key);
  const Bytes commonName = toBytes(name);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(x509), "CN", MBSTRING_UTF8, commonName.data(),
                             static_cast<int>(commonName.size()), -1, 0);
  X509_set_issuer_name(x509, X509_get_subject_name(certificate_ ? certificate_.get() : x509));
  const OpenSslPtr<X509_EXTENSION, X509_EXTENSION_free> added(
      X509V3_EXT_conf_nid(nullptr, nullptr, extension, value.c_str()));
  X509_add_ext(x509, added.get(), -1);
  X509_sign(x509, key_.get(), EVP_sha256());
  return made;
}

tools::TlsFiles TestAuthority::issue(const std::string& subjectAlternativeName) {
  const KeyPtr key(EVP_EC_gen("P-256"));
  const auto certificate =
      certify(key.get(), "Test server", NID_subject_alt_name, subjectAlternativeName);
  const std::string path = directory_.path() / std::to_string(issued_).append(".pem");
  const BioPtr file(BIO_new_file(path.c_str(), "w"));
  PEM_write_bio_X509(file.get(), certificate.get());
  PEM_write_bio_PrivateKey(file.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  return {path, path};
}

}  // namespace zqm::testing
