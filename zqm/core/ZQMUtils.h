// ZQMUtils: helpers for rules and records around host, settings and texts.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zqm/base/Value.h"

namespace zqm {

class ZQM_EXPORT ZQMUtils {
 public:
  // Resources. Reads a property list of the host's main package, or of the package with an
  // identifier. Throws "FileNotFoundException" if there is no readable dictionary of that name.
  static Dictionary loadPlistWithPlistName(std::string_view plistName);
  static Dictionary loadPlistWithPlistName(std::string_view plistName, std::string_view bundleName);
  // The full path of a resource of the library's own package, if it exists.
  static std::optional<std::string> loadFileResource(std::string_view name, std::string_view type);

  // Decrypts a protected string (base64 of RSA blocks, PKCS #1). Returns std::nullopt if it is
  // absent or empty, the key cannot be loaded, or the result is empty or not valid.
  static std::optional<std::string> decryptoString(const Text& secureText);

  // The library's version: that of the first loaded framework named "ZQMCore" or "ZQMBundle"; "" if
  // there is none.
  static Text getVersionName();

  static bool parseToBool(const Value& value);

  // JSON. Throws if `text` is not a JSON object; the exception's `userInfo` holds the call stack.
  static Dictionary stringToDictionary(std::string_view text);
  // Compact JSON, or "" if JSON cannot represent a value.
  static std::string mutableDictionaryToJson(const Dictionary& dictionary);

  // Texts. Returns std::nullopt for bytes that are not UTF-8.
  static std::optional<std::string> dataToString(const std::optional<Bytes>& data);
  // Joins the entries with ",".
  static std::string mutableArrayToString(const std::vector<std::string>& entries);
  // Replaces each match (case-insensitive) with the template. Returns "" if the pattern does not
  // compile or takes too long.
  static std::string stripCharsFromString(std::string_view text, std::string_view regex,
                                          std::string_view replace);
  // Whether the text contains an address like name@host.tld.
  static bool validEmail(const Text& text);

  // The host application.
  static bool applicationIsActive();
  static bool applicationIsInactive();
  static bool applicationIsBackground();
  static bool isActiveInBackgroundMode(std::string_view mode);
  // The container of the group named by "NSGroupIdentifier". Without one, writes an error to the
  // system log and returns std::nullopt.
  static std::optional<std::string> getURLGroupContainer();
  static bool isNotificationContent();

  // The network: 0 not reachable, 1 cellular, 2 Wi-Fi; probed at each call.
  static std::int32_t getNetworkStatus();
  static bool isNotReachable();
  static bool isWWANConnected();
  static bool isWifiConnected();
};

}  // namespace zqm
