// ZQMUtils: what rules and records ask of host, settings and texts.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zqm/base/Value.h"

namespace zqm {

class ZQM_EXPORT ZQMUtils {
 public:
  // Resources. The property list of the host's main package, or of the package with an identifier;
  // throws "FileNotFoundException" where there is no readable dictionary of that name.
  static Dictionary loadPlistWithPlistName(std::string_view plistName);
  static Dictionary loadPlistWithPlistName(std::string_view plistName, std::string_view bundleName);
  // The full path of a resource of the library's own package, or none.
  static std::optional<std::string> loadFileResource(std::string_view name, std::string_view type);

  // The plain text of a protected string (Base64 of RSA blocks, PKCS #1), or none where the string
  // is absent or empty, the key cannot be loaded, or the text does not decrypt to anything.
  static std::optional<std::string> decryptoString(const Text& secureText);

  // The library's version: that of the first loaded framework named "ZQMCore" or "ZQMBundle"; ""
  // without such a framework.
  static Text getVersionName();

  static bool parseToBool(const Value& value);

  // JSON. Throws where `text` is not the JSON text of an object; the details hold the call stack.
  static Dictionary stringToDictionary(std::string_view text);
  // Compact JSON, or "" for what JSON cannot hold.
  static std::string mutableDictionaryToJson(const Dictionary& dictionary);

  // Texts. None for bytes that are not UTF-8.
  static std::optional<std::string> dataToString(const std::optional<Bytes>& data);
  // The entries joined with ",".
  static std::string mutableArrayToString(const std::vector<std::string>& entries);
  // Replaces each match (case-insensitive) with the template; "" for a pattern that does not
  // compile.
  static std::string stripCharsFromString(std::string_view text, std::string_view regex,
                                          std::string_view replace);
  // Whether an address like name@host.tld stands anywhere in the text.
  static bool validEmail(const Text& text);

  // The host application.
  static bool applicationIsActive();
  static bool applicationIsInactive();
  static bool applicationIsBackground();
  static bool isActiveInBackgroundMode(std::string_view mode);
  // The container of the group named by "NSGroupIdentifier"; without one, says so in the system
  // log and answers none.
  static std::optional<std::string> getURLGroupContainer();
  static bool isNotificationContent();

  // The network: 0 not reachable, 1 cellular, 2 Wi-Fi; probed at each call.
  static std::int32_t getNetworkStatus();
  static bool isNotReachable();
  static bool isWWANConnected();
  static bool isWifiConnected();
};

}  // namespace zqm
