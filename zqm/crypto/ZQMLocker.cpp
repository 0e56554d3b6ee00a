// The parser of a public key's header, the store of imported keys, and the payload formats.
#include "zqm/crypto/ZQMLocker.h"

#include <algorithm>
#include <map>
#include <span>

#include "zqm/base/Mutex.h"
#include "zqm/base/System.h"
#include "zqm/crypto/LockerKey.h"
#include "zqm/crypto/RsaKeys.h"
#include "zqm/platform/Process.h"
#include "zqm/util/Encoding.h"
#include "zqm/util/Json.h"

namespace zqm {
namespace {

constexpr std::string_view kBeginMarker = "-----BEGIN PUBLIC KEY-----";
constexpr std::string_view kEndMarker = "-----END PUBLIC KEY-----";

constexpr std::uint8_t kSequence[] = {0x30};
constexpr std::uint8_t kBitString[] = {0x03};
constexpr std::uint8_t kNoUnusedBits[] = {0x00};
// The algorithm identifier rsaEncryption with null parameters (RFC 8017).
constexpr std::uint8_t kRsaEncryption[] = {0x30, 0x0D, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86,
                                           0xF7, 0x0D, 0x01, 0x01, 0x01, 0x05, 0x00};

// Reads DER from its start; no step goes past its end.
class DerWalk {
 public:
  explicit DerWalk(std::span<const std::uint8_t> der) : rest_(der) {}

  bool skip(std::span<const std::uint8_t> expected) {
    if (rest_.size() < expected.size() ||
        !std::equal(expected.begin(), expected.end(), rest_.begin())) {
      return false;
    }
    rest_ = rest_.subspan(expected.size());
    return true;
  }

  // The length itself is ignored: the key extends to the end of the data.
  bool skipLength() {
    if (rest_.empty()) return false;
    const std::size_t first = rest_.front();
    const std::size_t size = first > 0x80 ? 1 + (first - 0x80) : 1;
    if (rest_.size() < size) return false;
    rest_ = rest_.subspan(size);
    return true;
  }

  Bytes rest() const { return {rest_.begin(), rest_.end()}; }

 private:
  std::span<const std::uint8_t> rest_;
};

// The tag of the application's key; every import replaces the previous one.
constexpr std::string_view kApplicationTag = "RSAUtil_PubKey";

// Imported keys by tag, with the bytes they were parsed from, so that a key is parsed only once.
class KeyStore {
 public:
  struct Item {
    Bytes rsaPublicKey;
    std::shared_ptr<const RsaPublicKey> key;
  };

  std::shared_ptr<const RsaPublicKey> find(std::string_view tag, const Bytes& rsaPublicKey) {
    const MutexLock lock(mutex_);
    const auto found = items_.find(tag);
    return found != items_.end() && found->second.rsaPublicKey == rsaPublicKey ? found->second.key
                                                                               : nullptr;
  }

  void replace(std::string_view tag, Item item) {
    const MutexLock lock(mutex_);
    // The previous item is destroyed after the mutex is released: freeing a key enters OpenSSL.
    std::swap(items_[tag], item);
  }

 private:
  Mutex mutex_;
  std::map<std::string_view, Item> items_ ZQM_GUARDED_BY(mutex_);
};

PerProcess<KeyStore> keyStore;

// The text between the markers, all of it if one is missing; std::nullopt if they are swapped.
std::optional<std::string_view> betweenMarkers(std::string_view text) {
  const auto begin = text.find(kBeginMarker);
  const auto end = text.find(kEndMarker);
  if (begin == std::string_view::npos || end == std::string_view::npos) return text;
  const auto start = begin + kBeginMarker.size();
  return start <= end ? std::optional(text.substr(start, end - start)) : std::nullopt;
}

// A UUID with process id and time, which stays unique even if the random number generator's state
// was copied.
std::string uniqueText() {
  const auto now = platform().clock->now().time_since_epoch().count();
  return makeUuid()
      .append("-")
      .append(std::to_string(processNumber()))
      .append("-")
      .append(std::to_string(now));
}

}  // namespace

std::optional<Bytes> ZQMLocker::stripPublicKeyHeader(const std::optional<Bytes>& der) {
  DerWalk walk(der ? std::span(*der) : std::span<const std::uint8_t>());
  const bool isHeader = walk.skip(kSequence) && walk.skipLength() && walk.skip(kRsaEncryption) &&
                        walk.skip(kBitString) && walk.skipLength() && walk.skip(kNoUnusedBits);
  return isHeader ? std::optional(walk.rest()) : std::nullopt;
}

std::shared_ptr<const RsaPublicKey> ZQMLocker::addPublicKey(std::string_view key) {
  const auto body = betweenMarkers(key);
  // Also drops line breaks and spaces.
  const auto der = body ? base64_decode(*body) : std::nullopt;
  auto stripped = stripPublicKeyHeader(der);
  if (!stripped) return nullptr;
  if (auto found = keyStore->find(kApplicationTag, *stripped)) return found;
  auto imported = publicKeyOfPkcs1(*stripped);
  if (imported) keyStore->replace(kApplicationTag, {*std::move(stripped), imported});
  return imported;
}

Bytes ZQMLocker::encryptData(const Bytes& data, const std::shared_ptr<const RsaPublicKey>& keyRef) {
  Bytes blocks;
  // If a chunk fails, the blocks before it are kept: a truncated payload still says more than none.
  if (keyRef) static_cast<void>(keyRef->encrypt(data, blocks));
  return blocks;
}

std::optional<Bytes> ZQMLocker::encryptData(const std::optional<Bytes>& data) {
  const auto key = data ? addPublicKey(lockerPublicKey) : nullptr;
  return key ? std::optional(encryptData(*data, key)) : std::nullopt;
}

std::string ZQMLocker::encryptString(std::string_view text) {
  return NSDataToHex(encryptData(toBytes(text)).value_or(Bytes()));
}

std::string ZQMLocker::encryptMutableDictionary(const Dictionary& dictionary) {
  const JsonWriting json = writeJson(dictionary);
  const auto encrypted = json.error ? std::nullopt : encryptData(toBytes(json.text));
  // Not "" on failure: callers that post the result expect something that looks like a payload.
  return encrypted ? NSDataToHex(*encrypted) : uniqueText();
}

std::string ZQMLocker::sha1(std::string_view text) {
  return toHexLower(digest("SHA1", text.substr(0, text.find('\0'))));
}

std::string NSDataToHex(const Bytes& data) { return toHexUpper(data); }

char itoh(std::int32_t number) {
  return static_cast<char>((number > 9 ? 55U : 48U) + static_cast<std::uint32_t>(number));
}

std::optional<Bytes> base64_decode(std::string_view text) { return fromBase64(text); }

}  // namespace zqm
