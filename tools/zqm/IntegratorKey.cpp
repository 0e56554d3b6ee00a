// Makes keys and certificates with OpenSSL.
#include "tools/zqm/IntegratorKey.h"

#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>

#include <stdexcept>

#include "tools/zqm/FileAccess.h"
#include "zqm/crypto/ZQMCryptography.h"
#include "zqm/crypto/openssl/OpenSsl.h"
#include "zqm/util/Encoding.h"

namespace zqm::tools {
namespace {

using BioPtr = OpenSslPtr<BIO, BIO_free>;

constexpr long kTenYears = 10L * 365 * 24 * 60 * 60;

Bytes randomBytes(int count) {
  Bytes bytes(static_cast<std::size_t>(count));
  if (RAND_bytes(bytes.data(), count) != 1) throw std::runtime_error("no random numbers");
  return bytes;
}

// What an i2d function of OpenSSL writes for `object`.
template <auto write, class T>
Bytes toDer(T* object) {
  const int length = write(object, nullptr);
  if (length <= 0) throw std::runtime_error("OpenSSL could not write an object as DER");
  Bytes der(static_cast<std::size_t>(length));
  std::uint8_t* end = der.data();
  write(object, &end);
  return der;
}

CertificatePtr selfSign(EVP_PKEY* key) {
  CertificatePtr certificate(X509_new());
  X509* const x509 = certificate.get();
  X509_NAME* const name = X509_get_subject_name(x509);
  const Bytes commonName = toBytes("Sandbox integrator");
  const bool signedByItself =
      X509_set_version(x509, X509_VERSION_3) == 1 &&
      ASN1_INTEGER_set_uint64(X509_get_serialNumber(x509), 1) == 1 &&
      X509_gmtime_adj(X509_getm_notBefore(x509), 0) != nullptr &&
      X509_gmtime_adj(X509_getm_notAfter(x509), kTenYears) != nullptr &&
      X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, commonName.data(),
                                 static_cast<int>(commonName.size()), -1, 0) == 1 &&
      X509_set_issuer_name(x509, name) == 1 && X509_set_pubkey(x509, key) == 1 &&
      X509_sign(x509, key, EVP_sha256()) > 0;
  if (!signedByItself) throw std::runtime_error("OpenSSL could not make a certificate");
  return certificate;
}

}  // namespace

IntegratorKey makeIntegratorKey() {
  const OpenSslScope scope;
  const KeyPtr key(EVP_RSA_gen(2048));
  if (!key) throw std::runtime_error("OpenSSL could not make an RSA key");
  const CertificatePtr certificate = selfSign(key.get());
  const std::string password = toHexLower(randomBytes(16));
  const Pkcs12Ptr file(PKCS12_create(password.c_str(), "integrator", key.get(), certificate.get(),
                                     nullptr, 0, 0, 0, 0, 0));
  if (!file) throw std::runtime_error("OpenSSL could not make a PKCS#12 file");
  return {toDer<i2d_X509>(certificate.get()), toDer<i2d_PKCS12>(file.get()), password};
}

std::string protect(const Bytes& certificate, std::string_view text) {
  ZQMCryptography cryptography;
  cryptography.loadPublicKeyFromData(certificate);
  auto protectedText = cryptography.rsaEncryptString(text);
  if (!protectedText) throw std::runtime_error("the certificate holds no usable RSA key");
  return *protectedText;
}

Bytes readCertificate(const std::filesystem::path& file) {
  const OpenSslScope scope;
  const Bytes content = readFile(file);
  const std::uint8_t* der = content.data();
  CertificatePtr certificate(d2i_X509(nullptr, &der, static_cast<long>(content.size())));
  if (!certificate) {
    const BioPtr bio(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
    certificate.reset(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
  }
  if (!certificate) throw std::runtime_error(file.string() + " is no certificate");
  return toDer<i2d_X509>(certificate.get());
}

}  // namespace zqm::tools
