// Key loading, RSA in blocks, and digests. The ciphers with string keys are in Ciphers.cpp.
#include "zqm/crypto/ZQMCryptography.h"

#include <openssl/rsa.h>

#include <algorithm>

#include "zqm/crypto/RsaKeys.h"
#include "zqm/platform/Process.h"
#include "zqm/util/Encoding.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

std::optional<Bytes> readFile(const OptionalText& path) {
  return path ? platform().files->read(*path) : std::nullopt;
}

// A decrypted block is a number of fixed width: 00, 02, padding, 00, payload. A zero byte in the
// payload ends it.
void appendPayload(Bytes& payloads, const Bytes& block) {
  const auto end = block.end();
  const auto number = std::find_if(block.begin(), end, [](auto byte) { return byte != 0; });
  const auto separator = std::find(number, end, 0);
  if (separator == end) return;
  payloads.insert(payloads.end(), separator + 1, std::find(separator + 1, end, 0));
}

std::string hexDigest(const char* name, std::string_view bytes) {
  return toHexLower(digest(name, bytes));
}

std::string hexDigestOfUnits(const char* name, std::string_view text) {
  return hexDigest(name, text.substr(0, utf16Length(text)));
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

std::shared_ptr<const RsaPublicKey> ZQMCryptography::getPublicKeyRefrenceFromeData(
    const Bytes& certificate) {
  return publicKeyOfCertificate(certificate);
}

std::shared_ptr<const RsaPrivateKey> ZQMCryptography::getPrivateKeyRefrenceFromData(
    const Bytes& pkcs12, const OptionalText& password) {
  return privateKeyOfPkcs12(pkcs12, password);
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
  const auto decrypted = rsaDecryptData(*encrypted);
  return utf8Text(decrypted);
}

std::optional<Bytes> ZQMCryptography::rsaDecryptData(const Bytes& data) const {
  const OpenSslScope openSsl;
  if (!openSsl || !privateKey_) return std::nullopt;
  const auto context = privateKey_->newContext();
  if (EVP_PKEY_decrypt_init(context.get()) != 1 ||
      EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_NO_PADDING) != 1) {
    return std::nullopt;
  }
  // A shorter last chunk is just a smaller number.
  const std::size_t blockSize = privateKey_->blockSize();
  Bytes payloads;
  for (std::size_t start = 0; start < data.size(); start += blockSize) {
    Bytes block(blockSize);
    std::size_t written = block.size();
    if (EVP_PKEY_decrypt(context.get(), block.data(), &written, data.data() + start,
                         std::min(blockSize, data.size() - start)) != 1) {
      return std::nullopt;
    }
    block.resize(written);
    appendPayload(payloads, block);
  }
  return payloads;
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
  return hexDigest("MD5", text.substr(0, text.find('\0')));
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
