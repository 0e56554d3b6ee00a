// Forwards to where the work is done.
#include "zqm/core/ZQMUtils.h"

#include <algorithm>

#include "zqm/core/settings/Resources.h"
#include "zqm/http/ZQMReachability.h"
#include "zqm/platform/Process.h"
#include "zqm/util/Json.h"
#include "zqm/util/Patterns.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

constexpr const char* kEmailPattern = "[A-Z0-9a-z._%+-]+@[A-Za-z0-9.-]+\\.[A-Za-z]{2,4}";

}  // namespace

Dictionary ZQMUtils::loadPlistWithPlistName(std::string_view plistName) {
  return propertyListOfHost(plistName);
}

Dictionary ZQMUtils::loadPlistWithPlistName(std::string_view plistName,
                                            std::string_view bundleName) {
  return propertyListOf(bundleName, plistName);
}

std::optional<std::string> ZQMUtils::loadFileResource(std::string_view name,
                                                      std::string_view type) {
  return libraryResource(name, type);
}

std::optional<std::string> ZQMUtils::decryptoString(const Text& secureText) {
  return decrypted(secureText);
}

Text ZQMUtils::getVersionName() { return libraryVersion(); }

bool ZQMUtils::parseToBool(const Value& value) { return zqm::parseToBool(value); }

Dictionary ZQMUtils::stringToDictionary(std::string_view text) { return readJsonObject(text); }

std::string ZQMUtils::mutableDictionaryToJson(const Dictionary& dictionary) {
  return writeJson(dictionary).text;
}

std::optional<std::string> ZQMUtils::dataToString(const std::optional<Bytes>& data) {
  return utf8Text(data);
}

std::string ZQMUtils::mutableArrayToString(const std::vector<std::string>& entries) {
  std::string joined;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (i > 0) joined += ',';
    joined += entries[i];
  }
  return joined;
}

std::string ZQMUtils::stripCharsFromString(std::string_view text, std::string_view regex,
                                           std::string_view replace) {
  return replaceAll(text, regex, replace).value_or("");
}

bool ZQMUtils::validEmail(const Text& text) {
  return isNotEmpty(text) && containsMatch(*text.text(), kEmailPattern);
}

bool ZQMUtils::applicationIsActive() { return platform().hostState->applicationState() == 0; }
bool ZQMUtils::applicationIsInactive() { return platform().hostState->applicationState() == 1; }
bool ZQMUtils::applicationIsBackground() { return platform().hostState->applicationState() == 2; }

bool ZQMUtils::isActiveInBackgroundMode(std::string_view mode) {
  const Value modes = platform().hostState->backgroundModes();
  const List* list = modes.list();
  return list && std::ranges::find(*list, Value(mode)) != list->end();
}

std::optional<std::string> ZQMUtils::getURLGroupContainer() { return groupContainer(); }

bool ZQMUtils::isNotificationContent() { return hostInformation("NSGroupIdentifier").isPresent(); }

std::int32_t ZQMUtils::getNetworkStatus() { return static_cast<std::int32_t>(currentNetwork()); }

bool ZQMUtils::isNotReachable() { return getNetworkStatus() == 0; }
bool ZQMUtils::isWWANConnected() { return getNetworkStatus() == 1; }
bool ZQMUtils::isWifiConnected() { return getNetworkStatus() == 2; }

}  // namespace zqm
