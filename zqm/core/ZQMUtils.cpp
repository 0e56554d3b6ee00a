// Settings resources, protected strings, JSON and text helpers, the host and its network.
#include "zqm/core/ZQMUtils.h"

#include "zqm/base/Error.h"
#include "zqm/base/Exception.h"
#include "zqm/core/settings/ZQMEnvironmentUtil.h"
#include "zqm/crypto/ZQMCryptography.h"
#include "zqm/http/ZQMReachability.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/platform/Process.h"
#include "zqm/util/Json.h"
#include "zqm/util/Patterns.h"
#include "zqm/util/PropertyList.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

// Only to ask which link would be used; the name is never resolved and nothing is sent to it.
constexpr const char* kPublicHost = "example.com";

constexpr const char* kEmailPattern = "[A-Z0-9a-z._%+-]+@[A-Za-z0-9.-]+\\.[A-Za-z]{2,4}";

Dictionary requiredPlist(const std::optional<Package>& package, std::string_view name) {
  const auto path = package ? platform().packages->resource(*package, name, "plist") : std::nullopt;
  const auto content = path ? platform().files->read(*path) : std::nullopt;
  const Value root = content ? readPropertyList(*content) : Value();
  if (const Dictionary* dictionary = root.dictionary()) return *dictionary;
  throw Exception("FileNotFoundException",
                  std::string(name) +
                      " property list not found. This file is required to start "
                      "the framework settings.");
}

Value mainPackageEntry(std::string_view key) {
  const auto package = platform().packages->mainPackage();
  return package ? (*package)[key] : Value();
}

}  // namespace

Dictionary ZQMUtils::loadPlistWithPlistName(std::string_view plistName) {
  return requiredPlist(platform().packages->mainPackage(), plistName);
}

Dictionary ZQMUtils::loadPlistWithPlistName(std::string_view plistName,
                                            std::string_view bundleName) {
  return requiredPlist(platform().packages->packageWithIdentifier(bundleName), plistName);
}

std::optional<std::string> ZQMUtils::loadFileResource(std::string_view name,
                                                      std::string_view type) {
  const auto package = platform().packages->packageWithIdentifier(kLibraryIdentifier);
  return package ? platform().packages->resource(*package, name, type) : std::nullopt;
}

std::optional<std::string> ZQMUtils::decryptoString(const Text& secureText) {
  if (!secureText.text() || secureText.text()->empty()) {
    ZQMLogHandler::logToDebugWithText(
        "ZQMCore - Error decrypting the Endpoint. Secure text is null.");
    return std::nullopt;
  }
  ZQMCryptography cryptography;
  const Text name = ZQMEnvironmentUtil::fileNameCertsP12();
  const auto file = name.text() ? loadFileResource(*name.text(), "p12") : std::nullopt;
  // If the key cannot be loaded, the decryption below fails.
  if (file) {
    cryptography.loadPrivateKeyFromFile(*file, ZQMEnvironmentUtil::filePasswordCertsP12().string());
  }
  auto plain = cryptography.rsaDecryptString(*secureText.text());
  if (!plain || plain->empty()) {
    ZQMLogHandler::logToDebugWithText(
        "ZQMCore - Error decrypting the Endpoint. Null value, assuming default value.");
    return std::nullopt;
  }
  ZQMLogHandler::logToDebugWithText("ZQMCore - Endpoint decrypted, value: " + *plain);
  return plain;
}

Text ZQMUtils::getVersionName() {
  for (const Package& framework : platform().packages->frameworks()) {
    const Value& name = framework["CFBundleName"];
    if (name == Value("ZQMCore") || name == Value("ZQMBundle")) {
      return framework["CFBundleShortVersionString"];
    }
  }
  return "";
}

bool ZQMUtils::parseToBool(const Value& value) { return zqm::parseToBool(value); }

Dictionary ZQMUtils::stringToDictionary(std::string_view text) {
  JsonReading json = readJson(text);
  if (auto dictionary = std::move(json.value).takeDictionary()) return *std::move(dictionary);
  const std::string description =
      json.error ? json.error->localizedDescription() : "The JSON text holds no object.";
  const Text reason = json.error ? json.error->userInfo[kLocalizedFailureReasonKey] : Text();
  throw Exception(description, reason.text() ? *reason.text() : description,
                  {{"NSUnderlyingError", callStackText(callStackSymbols())}});
}

std::string ZQMUtils::mutableDictionaryToJson(const Dictionary& dictionary) {
  const JsonWriting json = writeJson(dictionary);
  return json.error ? "" : json.text;
}

std::optional<std::string> ZQMUtils::dataToString(const std::optional<Bytes>& data) {
  return data ? utf8Text(*data) : std::nullopt;
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
  if (!modes.list()) return false;
  for (const Value& entry : *modes.list()) {
    if (entry.text() && *entry.text() == mode) return true;
  }
  return false;
}

std::optional<std::string> ZQMUtils::getURLGroupContainer() {
  const Value identifier = mainPackageEntry("NSGroupIdentifier");
  auto container =
      identifier.text() ? platform().directories->groupContainer(*identifier.text()) : std::nullopt;
  if (!container) {
    const Error error{
        "NSGroupIdentifier key with invalid or missing value in the Info.plist or App Groups file "
        "missing from App capabilities.",
        -999,
        {},
        ""};
    platform().systemLog->error(error.domain + " (" + std::to_string(error.code) + ")");
  }
  return container;
}

bool ZQMUtils::isNotificationContent() { return mainPackageEntry("NSGroupIdentifier").isPresent(); }

std::int32_t ZQMUtils::getNetworkStatus() {
  const auto probe = ZQMReachability::reachabilityWithHostname(kPublicHost);
  return probe ? probe->currentReachabilityStatus() : 0;
}

bool ZQMUtils::isNotReachable() { return getNetworkStatus() == 0; }
bool ZQMUtils::isWWANConnected() { return getNetworkStatus() == 1; }
bool ZQMUtils::isWifiConnected() { return getNetworkStatus() == 2; }

}  // namespace zqm
