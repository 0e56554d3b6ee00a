// RSA in blocks, and keys from certificates, PKCS#12 files and plain DER, read only in the private
// context.
#include "zqm/crypto/RsaKeys.h"

#include <openssl/decoder.h>
#include <openssl/objects.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "zqm/crypto/ZQMCryptography.h"

namespace zqm {
namespace {

void freeBags(STACK_OF(PKCS12_SAFEBAG) * bags) {
  sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
}
void freeSafes(STACK_OF(PKCS7) * safes) { sk_PKCS7_pop_free(safes, PKCS7_free); }

using BagsPtr = OpenSslPtr<STACK_OF(PKCS12_SAFEBAG), freeBags>;
using SafesPtr = OpenSslPtr<STACK_OF(PKCS7), freeSafes>;
using DecoderPtr = OpenSslPtr<OSSL_DECODER_CTX, OSSL_DECODER_CTX_free>;
using KeyInfoPtr = OpenSslPtr<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;
using Pbes1Ptr = OpenSslPtr<PBEPARAM, PBEPARAM_free>;
using Pbes2Ptr = OpenSslPtr<PBE2PARAM, PBE2PARAM_free>;
using Pbkdf2Ptr = OpenSslPtr<PBKDF2PARAM, PBKDF2PARAM_free>;

constexpr int kSmallestBits = 512;
constexpr int kLargestBits = 8192;

// A damaged or hostile file could demand hours; this many iterations take some seconds.
constexpr std::int64_t kMostIterations = 4'000'000;

// Returns the key that `read` finds, or null if it is not usable. Calls `read` inside a scope.
template <class Key, class Read>
std::shared_ptr<const Key> usable(const Read& read) {
  const OpenSslScope openSsl;
  if (!openSsl) return nullptr;
  KeyPtr key = read();
  if (!key || EVP_PKEY_is_a(key.get(), "RSA") != 1) return nullptr;
  const int bits = EVP_PKEY_get_bits(key.get());
  if (bits < kSmallestBits || bits > kLargestBits) return nullptr;
  return std::make_shared<Key>(std::move(key));
}

// Reads DER into `empty`, an object of the private context. Returns null if the DER is damaged.
template <class Owner, auto decode>
Owner readDer(typename Owner::pointer empty, const Bytes& der) {
  const unsigned char* position = der.data();
  const bool read = decode(&empty, &position, static_cast<long>(der.size())) != nullptr;
  // If reading fails, OpenSSL frees the object and clears the pointer.
  Owner owner(empty);
  return read ? std::move(owner) : nullptr;
}

template <class Owner>
Owner parameters(const X509_ALGOR* scheme, const ASN1_ITEM* form) {
  return Owner(
      static_cast<typename Owner::pointer>(ASN1_TYPE_unpack_sequence(form, scheme->parameter)));
}

// The iterations that a file may still demand. `spend` returns false if too few are left; the
// caller then skips that part of the file.
class IterationBudget {
 public:
  // An absent number means 1.
  bool spend(const ASN1_INTEGER* iterations) {
    std::int64_t count = 1;
    if (iterations && ASN1_INTEGER_get_int64(&count, iterations) != 1) return false;
    if (count <= 0 || count > left_) return false;
    left_ -= count;
    return true;
  }

  // Reads the iterations of PBES1, of PKCS #12's own schemes, and of PBES2 with PBKDF2 (RFC 8018).
  // No known tool uses scrypt in such a file.
  bool spend(const X509_ALGOR* scheme) {
    if (!scheme) return false;
    if (OBJ_obj2nid(scheme->algorithm) != NID_pbes2) {
      const auto pbes1 = parameters<Pbes1Ptr>(scheme, ASN1_ITEM_rptr(PBEPARAM));
      return pbes1 && spend(pbes1->iter);
    }
    const auto pbes2 = parameters<Pbes2Ptr>(scheme, ASN1_ITEM_rptr(PBE2PARAM));
    if (!pbes2 || OBJ_obj2nid(pbes2->keyfunc->algorithm) != NID_id_pbkdf2) return false;
    const auto pbkdf2 = parameters<Pbkdf2Ptr>(pbes2->keyfunc, ASN1_ITEM_rptr(PBKDF2PARAM));
    return pbkdf2 && spend(pbkdf2->iter);
  }

 private:
  std::int64_t left_ = kMostIterations;
};

// Opens one PKCS#12 file. PKCS12_parse is not used, as it would work in the host's context.
class Pkcs12Reader {
 public:
  explicit Pkcs12Reader(Pkcs12Ptr file) : file_(std::move(file)) {}

  // Returns null if there is no key, it is not usable, or the password is wrong.
  KeyPtr firstKey(const std::optional<std::string>& password) {
    if (!findPassword(password)) return nullptr;
    const SafesPtr safes(PKCS12_unpack_authsafes(file_.get()));
    // Encrypted safes come last: they rarely hold keys, which are encrypted themselves, and opening
    // one takes as long as opening a key.
    for (const int type : {NID_pkcs7_data, NID_pkcs7_encrypted}) {
      for (int i = 0; safes && i < sk_PKCS7_num(safes.get()); ++i) {
        PKCS7* safe = sk_PKCS7_value(safes.get(), i);
        if (OBJ_obj2nid(safe->type) != type) continue;
        if (auto key = firstKey(safe)) return *std::move(key);
      }
    }
    return nullptr;
  }

 private:
  // Sets `password_` to the form with which the MAC verifies; without a MAC, the password cannot be
  // checked, and the file is refused. Tools that got no password use either null data or an empty
  // string, which differ.
  bool findPassword(const std::optional<std::string>& password) {
    const ASN1_INTEGER* iterations = nullptr;
    PKCS12_get0_mac(nullptr, nullptr, nullptr, &iterations, file_.get());
    if (PKCS12_mac_present(file_.get()) != 1) return false;
    std::vector<std::string_view> forms = {std::string_view(), ""};
    if (password && !password->empty()) forms = {*password};
    return std::ranges::any_of(forms, [&](std::string_view form) {
      password_ = form;
      return budget_.spend(iterations) &&
             PKCS12_verify_mac(file_.get(), form.data(), passwordSize()) == 1;
    });
  }

  int passwordSize() const { return static_cast<int>(password_.size()); }

  BagsPtr unpack(PKCS7* safe) {
    if (PKCS7_type_is_data(safe)) return BagsPtr(PKCS12_unpack_p7data(safe));
    const PKCS7_ENCRYPT* encrypted = safe->d.encrypted;
    if (!encrypted || !budget_.spend(encrypted->enc_data->algorithm)) return nullptr;
    return BagsPtr(PKCS12_unpack_p7encdata(safe, password_.data(), passwordSize()));
  }

  // Returns std::nullopt if the safe holds no key, or none that can be read.
  std::optional<KeyPtr> firstKey(PKCS7* safe) {
    const BagsPtr bags = unpack(safe);
    for (int i = 0; bags && i < sk_PKCS12_SAFEBAG_num(bags.get()); ++i) {
      if (auto key = readKey(sk_PKCS12_SAFEBAG_value(bags.get(), i))) return key;
    }
    return std::nullopt;
  }

  std::optional<KeyPtr> readKey(const PKCS12_SAFEBAG* bag) {
    const int kind = PKCS12_SAFEBAG_get_nid(bag);
    if (kind == NID_keyBag) return readKey(PKCS12_SAFEBAG_get0_p8inf(bag));
    if (kind != NID_pkcs8ShroudedKeyBag) return std::nullopt;
    const X509_ALGOR* scheme = nullptr;
    X509_SIG_get0(PKCS12_SAFEBAG_get0_pkcs8(bag), &scheme, nullptr);
    if (!budget_.spend(scheme)) return std::nullopt;
    const KeyInfoPtr info(
        PKCS12_decrypt_skey_ex(bag, password_.data(), passwordSize(), openSslContext(), nullptr));
    return info ? readKey(info.get()) : std::nullopt;
  }

  // Returns null for a key that is not RSA without reading it: OpenSSL would compute its public
  // half, whatever its size.
  static std::optional<KeyPtr> readKey(const PKCS8_PRIV_KEY_INFO* info) {
    const ASN1_OBJECT* kind = nullptr;
    PKCS8_pkey_get0(&kind, nullptr, nullptr, nullptr, info);
    if (OBJ_obj2nid(kind) != NID_rsaEncryption) return KeyPtr();
    KeyPtr key(EVP_PKCS82PKEY_ex(info, openSslContext(), nullptr));
    return key ? std::optional(std::move(key)) : std::nullopt;
  }

  const Pkcs12Ptr file_;
  // Refers to the argument of the one call of `firstKey`.
  std::string_view password_;
  IterationBudget budget_;
};

// A decrypted block is a number of fixed width: 00, 02, padding, 00, payload. A zero byte in the
// payload ends it.
void appendPayload(Bytes& payloads, const Bytes& block) {
  const auto end = block.end();
  const auto number = std::find_if(block.begin(), end, [](auto byte) { return byte != 0; });
  const auto separator = std::find(number, end, 0);
  if (separator == end) return;
  payloads.insert(payloads.end(), separator + 1, std::find(separator + 1, end, 0));
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

bool RsaKey::apply(const Operation& operation, const Bytes& data,
                   const std::function<void(const Bytes&)>& take) const {
  const OpenSslScope openSsl;
  if (!openSsl) return false;
  const KeyContextPtr context = newContext();
  if (operation.begin(context.get()) != 1 ||
      EVP_PKEY_CTX_set_rsa_padding(context.get(), operation.padding) != 1) {
    return false;
  }
  const std::size_t size = blockSize();
  const std::size_t chunk = size - operation.paddingSize;
  for (std::size_t start = 0; start < data.size(); start += chunk) {
    Bytes block(size);
    std::size_t written = block.size();
    if (operation.run(context.get(), block.data(), &written, data.data() + start,
                      std::min(chunk, data.size() - start)) != 1) {
      return false;
    }
    block.resize(written);
    take(block);
  }
  return true;
}

bool RsaPublicKey::encrypt(const Bytes& data, Bytes& blocks) const {
  return apply(
      {EVP_PKEY_encrypt_init, EVP_PKEY_encrypt, RSA_PKCS1_PADDING, 11}, data,
      [&](const Bytes& block) { blocks.insert(blocks.end(), block.begin(), block.end()); });
}

std::optional<Bytes> RsaPrivateKey::decrypt(const Bytes& blocks) const {
  Bytes payloads;
  // A shorter last chunk is just a smaller number.
  const bool isDone = apply({EVP_PKEY_decrypt_init, EVP_PKEY_decrypt, RSA_NO_PADDING, 0}, blocks,
                            [&](const Bytes& block) { appendPayload(payloads, block); });
  return isDone ? std::optional(std::move(payloads)) : std::nullopt;
}

std::shared_ptr<const RsaPublicKey> ZQMCryptography::getPublicKeyRefrenceFromeData(
    const Bytes& certificate) {
  return usable<RsaPublicKey>([&] {
    const auto read =
        readDer<CertificatePtr, d2i_X509>(X509_new_ex(openSslContext(), nullptr), certificate);
    return KeyPtr(read ? X509_get_pubkey(read.get()) : nullptr);
  });
}

std::shared_ptr<const RsaPublicKey> publicKeyOfPkcs1(const Bytes& rsaPublicKey) {
  return usable<RsaPublicKey>([&] {
    EVP_PKEY* read = nullptr;
    const DecoderPtr decoder(OSSL_DECODER_CTX_new_for_pkey(&read, "DER", "type-specific", "RSA",
                                                           OSSL_KEYMGMT_SELECT_PUBLIC_KEY,
                                                           openSslContext(), nullptr));
    const unsigned char* position = rsaPublicKey.data();
    std::size_t left = rsaPublicKey.size();
    if (decoder) OSSL_DECODER_from_data(decoder.get(), &position, &left);
    return KeyPtr(read);
  });
}

std::shared_ptr<const RsaPrivateKey> ZQMCryptography::getPrivateKeyRefrenceFromData(
    const Bytes& pkcs12, const OptionalText& password) {
  return usable<RsaPrivateKey>([&] {
    auto read = readDer<Pkcs12Ptr, d2i_PKCS12>(
        PKCS12_init_ex(NID_pkcs7_data, openSslContext(), nullptr), pkcs12);
    return read ? Pkcs12Reader(std::move(read)).firstKey(password) : nullptr;
  });
}

}  // namespace zqm
