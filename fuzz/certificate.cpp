// A DER certificate, whose key verifies and encrypts.
#include "fuzz/Target.h"
#include "zqm/crypto/RsaKeys.h"
#include "zqm/crypto/ZQMCryptography.h"

namespace zqm::fuzz {

void tryOne(const Bytes& input) {
  ZQMCryptography cryptography;
  cryptography.loadPublicKeyFromData(input);
  const auto key = cryptography.getPublicKey();
  const auto encrypted = cryptography.rsaEncryptData(Bytes(100, 7));
  require(key || !encrypted, "nothing is encrypted without a key");
  require(!cryptography.rsaSHA1VerifyData(input, Bytes(1024)), "no signature is all zeros");
  if (!encrypted) return;
  const OpenSslScope openSsl;
  require(encrypted->size() % key->blockSize() == 0, "there are whole blocks");
}

}  // namespace zqm::fuzz
