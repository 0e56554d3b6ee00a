// AES-256 and DES with a string as the key.
#include <algorithm>
#include <climits>
#include <cstdlib>

#include "zqm/crypto/ZQMCryptography.h"
#include "zqm/crypto/openssl/OpenSsl.h"
#include "zqm/util/Encoding.h"
#include "zqm/util/Strings.h"

namespace zqm {

const std::array<std::uint8_t, 8> DES_IV = {0x3A, 0x91, 0x5C, 0x07, 0xE2, 0x4B, 0xD8, 0x16};

namespace {

constexpr std::size_t kDesKeySize = 8;
constexpr std::size_t kDesBufferSize = 1024;

enum class Direction { decrypt = 0, encrypt = 1 };

struct CipherCall {
  const char* cipher;
  Bytes key;
  const std::uint8_t* initialisationVector;
};

// With PKCS#7 padding. Returns std::nullopt if the size or the padding of the data is invalid.
std::optional<Bytes> run(const CipherCall& call, Direction direction, const Bytes& data) {
  if (data.size() > INT_MAX - EVP_MAX_BLOCK_LENGTH) return std::nullopt;
  const OpenSslScope openSsl;
  if (!openSsl) return std::nullopt;
  const CipherPtr cipher(EVP_CIPHER_fetch(openSslContext(), call.cipher, nullptr));
  const CipherContextPtr context(EVP_CIPHER_CTX_new());
  Bytes result(data.size() + EVP_MAX_BLOCK_LENGTH);
  int written = 0;
  int rest = 0;
  if (EVP_CipherInit_ex2(context.get(), cipher.get(), call.key.data(), call.initialisationVector,
                         static_cast<int>(direction), nullptr) != 1 ||
      EVP_CipherUpdate(context.get(), result.data(), &written, data.data(),
                       static_cast<int>(data.size())) != 1 ||
      EVP_CipherFinal_ex(context.get(), result.data() + written, &rest) != 1) {
    return std::nullopt;
  }
  result.resize(static_cast<std::size_t>(written) + static_cast<std::size_t>(rest));
  return result;
}

CipherCall aes256(std::string_view key) {
  static constexpr std::array<std::uint8_t, 16> zeros = {};
  Bytes bytes = toBytes(key);
  bytes.resize(32);
  return {"AES-256-CBC", std::move(bytes), zeros.data()};
}

std::optional<CipherCall> des(std::string_view key) {
  if (key.size() < kDesKeySize) return std::nullopt;
  // Triple DES with the same key three times is single DES, and needs no legacy provider.
  Bytes bytes;
  for (int i = 0; i < 3; ++i) bytes.insert(bytes.end(), key.begin(), key.begin() + kDesKeySize);
  return CipherCall{"DES-EDE3-ECB", std::move(bytes), DES_IV.data()};
}

// One character for each UTF-16 unit of `text`; "?" for each that is not ASCII.
std::string asciiUnits(std::string_view text) {
  std::string units;
  for (const char character : text) {
    const auto byte = static_cast<std::uint8_t>(character);
    if (byte < 0x80)
      units += character;
    else if (byte >= 0xC0)
      units.append(byte >= 0xF0 ? 2 : 1, '?');
  }
  return units;
}

// Reads pairs of hexadecimal digits. An invalid digit ends its pair ("1g" is 1, "g1" is 0); a
// single last character is dropped.
Bytes readHex(std::string_view text) {
  const std::string units = asciiUnits(text);
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < units.size(); i += 2) {
    bytes.push_back(
        static_cast<std::uint8_t>(std::strtoul(units.substr(i, 2).c_str(), nullptr, 16)));
  }
  return bytes;
}

}  // namespace

std::optional<std::string> ZQMCryptography::AES256Encrypt(std::string_view key,
                                                          std::string_view unencryptedStr) {
  const auto plain = unencryptedStr.substr(0, utf16Length(unencryptedStr));
  const auto encrypted = run(aes256(key), Direction::encrypt, toBytes(plain));
  return encrypted ? std::optional(toHexLower(*encrypted)) : std::nullopt;
}

std::optional<std::string> ZQMCryptography::AES256Decrypt(std::string_view key,
                                                          std::string_view undecryptedStr) {
  return utf8Text(run(aes256(key), Direction::decrypt, readHex(undecryptedStr)));
}

std::optional<std::string> ZQMCryptography::DESEncrypt(std::string_view key,
                                                       std::string_view unencryptedStr) {
  const auto call = des(key);
  if (!call) return std::nullopt;
  const auto encrypted = run(*call, Direction::encrypt, toBytes(unencryptedStr));
  if (!encrypted || encrypted->size() > kDesBufferSize) return std::nullopt;
  return toBase64(*encrypted);
}

std::optional<std::string> ZQMCryptography::DESDecrypt(std::string_view key,
                                                       std::string_view undecryptedStr) {
  const auto call = des(key);
  const auto encrypted = fromBase64(undecryptedStr);
  if (!call || !encrypted || encrypted->size() > kDesBufferSize) return std::nullopt;
  return utf8Text(run(*call, Direction::decrypt, *encrypted));
}

}  // namespace zqm
