// The parser of a public key's header, the store of imported keys, and the payload formats.
#include "zqm/crypto/ZQMLocker.h"

#include "zqm/base/Snapshot.h"
#include "zqm/base/System.h"
#include "zqm/crypto/LockerKey.h"
#include "zqm/crypto/RsaKeys.h"
#include "zqm/platform/Process.h"
#include "zqm/util/Encoding.h"
#include "zqm/util/Json.h"

namespace zqm {
namespace {

using namespace std::string_view_literals;

constexpr auto kBeginMarker = "-----BEGIN PUBLIC KEY-----"sv;
constexpr auto kEndMarker = "-----END PUBLIC KEY-----"sv;

// The DER in front of a key: SEQUENCE, the algorithm identifier rsaEncryption with null parameters
// (RFC 8017), and BIT STRING without unused bits.
constexpr auto kSequence = "\x30"sv;
constexpr auto kRsaEncryption = "\x30\x0D\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x01\x01\x05\x00"sv;
constexpr auto kBitString = "\x03"sv;
constexpr auto kNoUnusedBits = "\x00"sv;

bool skip(std::string_view& der, std::string_view expected) {
  if (!der.starts_with(expected)) return false;
  der.remove_prefix(expected.size());
  return true;
}

// The length itself is ignored: the key extends to the end of the data.
bool skipLength(std::string_view& der) {
  if (der.empty()) return false;
  const std::size_t first = static_cast<std::uint8_t>(der.front());
  const std::size_t size = first > 0x80 ? 1 + (first - 0x80) : 1;
  if (der.size() < size) return false;
  der.remove_prefix(size);
  return true;
}

// The last imported key, with the bytes it was parsed from, so that it is parsed only once.
struct ImportedKey {
  Bytes rsaPublicKey;
  std::shared_ptr<const RsaPublicKey> key;
};

PerProcess<Snapshot<ImportedKey>> importedKey;

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
  return makeUuid() + "-" + std::to_string(processNumber()) + "-" + std::to_string(now);
}

}  // namespace

std::optional<Bytes> ZQMLocker::stripPublicKeyHeader(const std::optional<Bytes>& der) {
  if (!der) return std::nullopt;
  std::string_view rest = asText(*der);
  const bool isHeader = skip(rest, kSequence) && skipLength(rest) && skip(rest, kRsaEncryption) &&
                        skip(rest, kBitString) && skipLength(rest) && skip(rest, kNoUnusedBits);
  return isHeader ? std::optional(toBytes(rest)) : std::nullopt;
}

std::shared_ptr<const RsaPublicKey> ZQMLocker::addPublicKey(std::string_view key) {
  const auto body = betweenMarkers(key);
  // Also drops line breaks and spaces.
  const auto der = body ? base64_decode(*body) : std::nullopt;
  auto stripped = stripPublicKeyHeader(der);
  if (!stripped) return nullptr;
  const auto known = importedKey->get();
  if (known && known->rsaPublicKey == *stripped) return known->key;
  auto imported = publicKeyOfPkcs1(*stripped);
  if (imported) {
    importedKey->set(std::make_shared<ImportedKey>(ImportedKey{*std::move(stripped), imported}));
  }
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
