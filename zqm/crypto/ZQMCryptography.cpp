// RSA with a loaded key pair, and digests. Keys are read in RsaKeys.cpp; the ciphers with string
// keys are in Ciphers.cpp.
#include "zqm/crypto/ZQMCryptography.h"

#include <openssl/rsa.h>

#include "zqm/crypto/RsaKeys.h"
#include "zqm/platform/Process.h"
#include "zqm/util/Encoding.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

std::optional<Bytes> readFile(const OptionalText& path) {
  return path ? platform().files->read(*path) : std::nullopt;
}

std::string hexDigestOfUnits(const char* name, std::string_view text) {
  return toHexLower(digest(name, text.substr(0, utf16Length(text))));
}

}  // namespace

void ZQMCryptography::loadPublicKeyFromFile(const OptionalText& path) {
  loadPublicKeyFromData(readFile(path).value_or(Bytes()));
}

void ZQMCryptography::loadPublicKeyFromData(const Bytes& certificate) {
  publicKey_ = getPublicKeyRefrenceFromeData(certificate);
}

void ZQMCryptography::loadPrivateKeyFromFile(const OptionalText& path,
                                             const OptionalText& password) {
  loadPrivateKeyFromData(readFile(path).value_or(Bytes()), password);
}

void ZQMCryptography::loadPrivateKeyFromData(const Bytes& pkcs12, const OptionalText& password) {
  privateKey_ = getPrivateKeyRefrenceFromData(pkcs12, password);
}

std::optional<std::string> ZQMCryptography::rsaEncryptString(std::string_view text) const {
  const auto encrypted = rsaEncryptData(toBytes(text));
  return encrypted ? std::optional(toBase64(*encrypted)) : std::nullopt;
}

std::optional<Bytes> ZQMCryptography::rsaEncryptData(const Bytes& data) const {
  Bytes blocks;
  return publicKey_ && publicKey_->encrypt(data, blocks) ? std::optional(std::move(blocks))
                                                         : std::nullopt;
}

std::optional<std::string> ZQMCryptography::rsaDecryptString(std::string_view base64) const {
  const auto encrypted = fromBase64(base64);
  if (!encrypted) return std::nullopt;
  return utf8Text(rsaDecryptData(*encrypted));
}

std::optional<Bytes> ZQMCryptography::rsaDecryptData(const Bytes& data) const {
  return privateKey_ ? privateKey_->decrypt(data) : std::nullopt;
}

bool ZQMCryptography::rsaSHA1VerifyData(const Bytes& data, const Bytes& signature) const {
  const OpenSslScope openSsl;
  if (!openSsl || !publicKey_ || signature.size() < publicKey_->blockSize()) return false;
  const Bytes sha1 = digest("SHA1", asText(data));
  const DigestPtr method(EVP_MD_fetch(openSslContext(), "SHA1", nullptr));
  const auto context = publicKey_->newContext();
  return EVP_PKEY_verify_init(context.get()) == 1 &&
         EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1 &&
         EVP_PKEY_CTX_set_signature_md(context.get(), method.get()) == 1 &&
         EVP_PKEY_verify(context.get(), signature.data(), publicKey_->blockSize(), sha1.data(),
                         sha1.size()) == 1;
}

std::string ZQMCryptography::MD5(std::string_view text) {
  return toHexLower(digest("MD5", text.substr(0, text.find('\0'))));
}

std::string ZQMCryptography::SHA1(std::string_view text) { return hexDigestOfUnits("SHA1", text); }

std::string ZQMCryptography::SHA224(std::string_view text) {
  return hexDigestOfUnits("SHA224", text);
}

std::string ZQMCryptography::SHA256(std::string_view text) {
  return hexDigestOfUnits("SHA256", text);
}

std::string ZQMCryptography::SHA384(std::string_view text) {
  return hexDigestOfUnits("SHA384", text);
}

std::string ZQMCryptography::SHA512(std::string_view text) {
  return hexDigestOfUnits("SHA512", text);
}

}  // namespace zqm
