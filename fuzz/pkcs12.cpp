// A PKCS#12 file. An odd first byte puts the MAC right.
#include "fuzz/Target.h"
#include "zqm/crypto/ZQMCryptography.h"
#include "zqm/crypto/openssl/OpenSsl.h"

namespace zqm::fuzz {
namespace {

constexpr const char* kPassword = "secret";

Bytes withMac(Bytes file) {
  const OpenSslScope openSsl;
  const std::uint8_t* position = file.data();
  const Pkcs12Ptr read(d2i_PKCS12(nullptr, &position, static_cast<long>(file.size())));
  if (!read || PKCS12_set_mac(read.get(), kPassword, -1, nullptr, 0, 1, EVP_sha1()) != 1) {
    return file;
  }
  std::uint8_t* written = nullptr;
  const int size = i2d_PKCS12(read.get(), &written);
  if (size > 0) file.assign(written, written + size);
  OPENSSL_free(written);
  return file;
}

}  // namespace

void tryOne(const Bytes& input) {
  const bool repairs = firstOf(input) % 2 == 1;
  ZQMCryptography cryptography;
  cryptography.loadPrivateKeyFromData(repairs ? withMac(withoutFirst(input)) : withoutFirst(input),
                                      kPassword);
  const bool hasKey = cryptography.getPrivateKey() != nullptr;
  const auto decrypted = cryptography.rsaDecryptData(Bytes(300, 7));
  require(hasKey || !decrypted, "nothing is decrypted without a key");
  require(!decrypted || decrypted->size() < 300, "there is less than what was encrypted");
}

}  // namespace zqm::fuzz
