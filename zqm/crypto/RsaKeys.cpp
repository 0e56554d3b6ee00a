// Keys out of certificates and PKCS#12 files, read in the private context only.
#include "zqm/crypto/RsaKeys.h"

#include <openssl/objects.h>

#include <string_view>
#include <vector>

namespace zqm {
namespace {

void freeBags(STACK_OF(PKCS12_SAFEBAG) * bags) {
  sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
}
void freeSafes(STACK_OF(PKCS7) * safes) { sk_PKCS7_pop_free(safes, PKCS7_free); }

using BagsPtr = OpenSslPtr<STACK_OF(PKCS12_SAFEBAG), freeBags>;
using SafesPtr = OpenSslPtr<STACK_OF(PKCS7), freeSafes>;
using KeyInfoPtr = OpenSslPtr<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;

constexpr int kSmallestBits = 512;
constexpr int kLargestBits = 8192;

// A damaged or hostile file could ask for hours; this many take about a second.
constexpr std::int64_t kMostMacIterations = 2'000'000;

bool isUsable(const EVP_PKEY* key) {
  if (!key || EVP_PKEY_is_a(key, "RSA") != 1) return false;
  const int bits = EVP_PKEY_get_bits(key);
  return bits >= kSmallestBits && bits <= kLargestBits;
}

// Reads DER into an object that knows the private context; null when it is damaged.
template <class Owner, auto decode>
Owner readDer(typename Owner::pointer empty, const Bytes& der) {
  const unsigned char* position = der.data();
  const bool read = decode(&empty, &position, static_cast<long>(der.size())) != nullptr;
  // A failed reading frees the object and clears the pointer.
  Owner owner(empty);
  return read ? std::move(owner) : nullptr;
}

// Without a MAC nothing tells whether file and password belong together.
bool hasBearableMac(const PKCS12* file) {
  const ASN1_INTEGER* iterations = nullptr;
  PKCS12_get0_mac(nullptr, nullptr, nullptr, &iterations, file);
  if (PKCS12_mac_present(file) != 1) return false;
  std::int64_t count = 1;
  if (iterations && ASN1_INTEGER_get_int64(&count, iterations) != 1) return false;
  return count > 0 && count <= kMostMacIterations;
}

// The form of the password with which the MAC verifies; none when it is wrong. A tool that was
// given no password took either an absent text (null data) or an empty one, which differ.
std::optional<std::string_view> workingPassword(PKCS12* file,
                                                const std::optional<std::string>& password) {
  std::vector<std::string_view> forms = {std::string_view(), ""};
  if (password && !password->empty()) forms = {*password};
  for (const std::string_view form : forms) {
    if (PKCS12_verify_mac(file, form.data(), static_cast<int>(form.size())) == 1) return form;
  }
  return std::nullopt;
}

BagsPtr unpack(PKCS7* safe, std::string_view password) {
  if (PKCS7_type_is_data(safe)) return BagsPtr(PKCS12_unpack_p7data(safe));
  return BagsPtr(PKCS12_unpack_p7encdata(safe, password.data(), static_cast<int>(password.size())));
}

// Null when the bag holds no key or a damaged one.
KeyPtr readKey(const PKCS12_SAFEBAG* bag, std::string_view password) {
  switch (PKCS12_SAFEBAG_get_nid(bag)) {
    case NID_keyBag:
      return KeyPtr(EVP_PKCS82PKEY_ex(PKCS12_SAFEBAG_get0_p8inf(bag), openSslContext(), nullptr));
    case NID_pkcs8ShroudedKeyBag: {
      const KeyInfoPtr info(PKCS12_decrypt_skey_ex(
          bag, password.data(), static_cast<int>(password.size()), openSslContext(), nullptr));
      return KeyPtr(info ? EVP_PKCS82PKEY_ex(info.get(), openSslContext(), nullptr) : nullptr);
    }
    default:
      return nullptr;
  }
}

KeyPtr firstKey(PKCS7* safe, std::string_view password) {
  const BagsPtr bags = unpack(safe, password);
  for (int i = 0; bags && i < sk_PKCS12_SAFEBAG_num(bags.get()); ++i) {
    if (KeyPtr key = readKey(sk_PKCS12_SAFEBAG_value(bags.get(), i), password)) return key;
  }
  return nullptr;
}

// PKCS12_parse would do this in the host's context. Keys rarely stand in an encrypted safe, being
// encrypted themselves, so those come last: opening one takes as long as opening a key.
KeyPtr firstKey(const PKCS12* file, std::string_view password) {
  const SafesPtr safes(PKCS12_unpack_authsafes(file));
  for (const int type : {NID_pkcs7_data, NID_pkcs7_encrypted}) {
    for (int i = 0; safes && i < sk_PKCS7_num(safes.get()); ++i) {
      PKCS7* safe = sk_PKCS7_value(safes.get(), i);
      if (OBJ_obj2nid(safe->type) != type) continue;
      if (KeyPtr key = firstKey(safe, password)) return key;
    }
  }
  return nullptr;
}

}  // namespace

RsaKey::~RsaKey() {
  const OpenSslScope openSsl;
  if (openSsl) {
    key_.reset();
  } else {
    static_cast<void>(key_.release());
  }
}

std::size_t RsaKey::blockSize() const {
  return static_cast<std::size_t>(EVP_PKEY_get_size(key_.get()));
}

KeyContextPtr RsaKey::newContext() const {
  return KeyContextPtr(EVP_PKEY_CTX_new_from_pkey(openSslContext(), key_.get(), nullptr));
}

std::shared_ptr<const RsaPublicKey> publicKeyOfCertificate(const Bytes& certificate) {
  const OpenSslScope openSsl;
  if (!openSsl) return nullptr;
  const auto read =
      readDer<CertificatePtr, d2i_X509>(X509_new_ex(openSslContext(), nullptr), certificate);
  if (!read) return nullptr;
  KeyPtr key(X509_get_pubkey(read.get()));
  return isUsable(key.get()) ? std::make_shared<RsaPublicKey>(std::move(key)) : nullptr;
}

std::shared_ptr<const RsaPrivateKey> privateKeyOfPkcs12(
    const Bytes& file, const std::optional<std::string>& password) {
  const OpenSslScope openSsl;
  if (!openSsl) return nullptr;
  const auto read = readDer<Pkcs12Ptr, d2i_PKCS12>(
      PKCS12_init_ex(NID_pkcs7_data, openSslContext(), nullptr), file);
  if (!read || !hasBearableMac(read.get())) return nullptr;
  const auto opening = workingPassword(read.get(), password);
  if (!opening) return nullptr;
  KeyPtr key = firstKey(read.get(), *opening);
  return isUsable(key.get()) ? std::make_shared<RsaPrivateKey>(std::move(key)) : nullptr;
}

}  // namespace zqm
