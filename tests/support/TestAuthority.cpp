// Keys and certificates, made with OpenSSL.
#include "tests/support/TestAuthority.h"

#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <functional>
#include <stdexcept>

namespace zqm::testing {
namespace {

template <auto function>
struct Free {
  void operator()(auto* pointer) const { function(pointer); }
};
using Key = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Free<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Free<X509_EXTENSION_free>>;
using File = std::unique_ptr<std::FILE, Free<std::fclose>>;

constexpr long kDay = 24L * 60 * 60;

void addExtension(X509* certificate, int kind, const char* value) {
  const Extension extension(X509V3_EXT_conf_nid(nullptr, nullptr, kind, value));
  X509_add_ext(certificate, extension.get(), -1);
}

// Signed by the caller.
Certificate makeCertificate(EVP_PKEY* key, long serial, const char* name, X509* issuer) {
  Certificate certificate(X509_new());
  X509_set_version(certificate.get(), X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), serial);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kDay);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), kDay);
  X509_set_pubkey(certificate.get(), key);
  X509_NAME* subject = X509_get_subject_name(certificate.get());
  X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
  X509_set_issuer_name(certificate.get(), issuer ? X509_get_subject_name(issuer) : subject);
  return certificate;
}

void writePem(const std::string& path, const std::function<int(std::FILE*)>& write) {
  const File file(std::fopen(path.c_str(), "w"));
  if (!file || write(file.get()) != 1) throw std::runtime_error("cannot write " + path);
}

}  // namespace

struct TestAuthority::Identity {
  Key key;
  Certificate certificate;
};

TestAuthority::TestAuthority() : identity_(std::make_unique<Identity>()) {
  identity_->key.reset(EVP_EC_gen("P-256"));
  identity_->certificate =
      makeCertificate(identity_->key.get(), 1, directory_.path().filename().c_str(), nullptr);
  X509* const own = identity_->certificate.get();
  addExtension(own, NID_basic_constraints, "critical,CA:TRUE");
  addExtension(own, NID_key_usage, "critical,keyCertSign");
  X509_sign(own, identity_->key.get(), EVP_sha256());
  writePem(authoritiesFile(), [own](std::FILE* file) { return PEM_write_X509(file, own); });
}

TestAuthority::~TestAuthority() = default;

std::string TestAuthority::authoritiesFile() const { return directory_.path() / "authority.pem"; }

tools::TlsFiles TestAuthority::issue(const std::string& subjectAlternativeName) {
  const std::string stem = directory_.path() / std::to_string(++issued_);
  const tools::TlsFiles files{stem + ".pem", stem + ".key"};
  const Key key(EVP_EC_gen("P-256"));
  const Certificate certificate =
      makeCertificate(key.get(), 1 + issued_, "Test server", identity_->certificate.get());
  addExtension(certificate.get(), NID_subject_alt_name, subjectAlternativeName.c_str());
  X509_sign(certificate.get(), identity_->key.get(), EVP_sha256());
  writePem(files.certificatePath,
           [&](std::FILE* file) { return PEM_write_X509(file, certificate.get()); });
  writePem(files.privateKeyPath, [&](std::FILE* file) {
    return PEM_write_PrivateKey(file, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  });
  return files;
}

}  // namespace zqm::testing
