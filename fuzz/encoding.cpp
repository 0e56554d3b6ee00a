// Base64 and hexadecimal, as keys and protected texts have them.
#include "zqm/util/Encoding.h"

#include <cctype>

#include "fuzz/Target.h"
#include "zqm/crypto/ZQMCryptography.h"
#include "zqm/crypto/ZQMLocker.h"

namespace zqm::fuzz {
namespace {

constexpr std::string_view kKey = "a key of some length";

void tryBase64(const Bytes& input) {
  require(fromBase64(toBase64(input)) == input, "what is written reads back");
  std::string text(asText(input));
  const auto read = base64_decode(text);
  std::erase_if(text, [](unsigned char c) {
    return !std::isalnum(c) &&
           std::string_view("+/=").find(static_cast<char>(c)) == std::string::npos;
  });
  if (!read) return;
  const std::string again = toBase64(*read);
  require(again.size() == text.size(), "nothing but other characters is dropped");
  // The last group may have bits that do not count.
  const std::size_t sure = text.size() - std::min<std::size_t>(4, text.size());
  require(again.substr(0, sure) == text.substr(0, sure), "every character counts");
}

void tryHex(const Bytes& input) {
  const std::string_view text = asText(input);
  require(ZQMCryptography::AES256Decrypt(kKey, toHexLower(input)) ==
              ZQMCryptography::AES256Decrypt(kKey, NSDataToHex(input)),
          "the case of a digit does not count");
  static_cast<void>(ZQMCryptography::AES256Decrypt(kKey, text));
  static_cast<void>(ZQMCryptography::DESDecrypt(kKey, text));
  const bool isAscii = std::ranges::all_of(input, [](std::uint8_t c) { return c < 0x80; });
  const auto hidden = ZQMCryptography::AES256Encrypt(kKey, text);
  require(hidden.has_value(), "every text can be encrypted");
  require(!isAscii || ZQMCryptography::AES256Decrypt(kKey, *hidden) == text, "and decrypted");
}

}  // namespace

void tryOne(const Bytes& input) {
  tryBase64(input);
  tryHex(input);
}

}  // namespace zqm::fuzz
