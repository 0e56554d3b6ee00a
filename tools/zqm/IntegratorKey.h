// An integrator's key pair, and the strings that are protected with its public half.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm::tools {

struct IntegratorKey {
  // X.509 in DER, self-signed.
  Bytes certificate;
  // PKCS#12 with the certificate and the RSA 2048 private key.
  Bytes pkcs12;
  // Of the PKCS#12 file; random, and never to be printed.
  std::string password;
};

// The functions below throw std::runtime_error.

IntegratorKey makeIntegratorKey();

// The text encrypted for the certificate's owner, in Base64.
std::string protect(const Bytes& certificate, std::string_view text);

// The certificate of a DER or PEM file, in DER.
Bytes readCertificate(const std::filesystem::path& file);

}  // namespace zqm::tools
