// The PEM text of a public key and the DER inside it.
#include "fuzz/Target.h"
#include "zqm/crypto/RsaKeys.h"
#include "zqm/crypto/ZQMLocker.h"
#include "zqm/util/Encoding.h"

namespace zqm::fuzz {

void tryOne(const Bytes& input) {
  const Fakes fakes;
  const Launch launch(fakes.platform());
  static_cast<void>(ZQMLocker::addPublicKey(asText(input)));
  const auto stripped = ZQMLocker::stripPublicKeyHeader(input);
  require(!stripped || (stripped->size() < input.size() &&
                        std::equal(stripped->rbegin(), stripped->rend(), input.rbegin())),
          "what a header is stripped from ends the same");
  const std::string body = toBase64(input);
  const auto key = ZQMLocker::addPublicKey(body);
  require(!key || stripped, "there is no key without its header");
  if (!key) return;
  const std::string pem = "-----BEGIN PUBLIC KEY-----\n" + body + "\n-----END PUBLIC KEY-----\n";
  require(ZQMLocker::addPublicKey(pem) == key, "the markers make no other key");
  const auto blocks = ZQMLocker::encryptData(Bytes(100, 7), key);
  const OpenSslScope openSsl;
  require(blocks.size() % key->blockSize() == 0, "there are whole blocks");
}

}  // namespace zqm::fuzz
