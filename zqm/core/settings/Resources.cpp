// Reads resources, settings and protected strings of the packages.
#include "zqm/core/settings/Resources.h"

#include "zqm/base/Exception.h"
#include "zqm/core/settings/ZQMEnvironmentUtil.h"
#include "zqm/crypto/ZQMCryptography.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/platform/Process.h"
#include "zqm/util/PropertyList.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

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

}  // namespace

Dictionary propertyListOfHost(std::string_view name) {
  return requiredPlist(platform().packages->mainPackage(), name);
}

Dictionary propertyListOf(std::string_view identifier, std::string_view name) {
  return requiredPlist(platform().packages->packageWithIdentifier(identifier), name);
}

std::optional<std::string> libraryResource(std::string_view name, std::string_view type) {
  const auto package = platform().packages->packageWithIdentifier(kLibraryIdentifier);
  return package ? platform().packages->resource(*package, name, type) : std::nullopt;
}

Text libraryVersion() {
  for (const Package& framework : platform().packages->frameworks()) {
    const Value& name = framework["CFBundleName"];
    if (name == Value("ZQMCore") || name == Value("ZQMBundle")) {
      return framework["CFBundleShortVersionString"];
    }
  }
  return "";
}

std::optional<std::string> decrypted(const Text& protectedText) {
  if (!isNotEmpty(protectedText)) {
    ZQMLogHandler::logToDebugWithText(
        "ZQMCore - Error decrypting the Endpoint. Secure text is null.");
    return std::nullopt;
  }
  ZQMCryptography cryptography;
  const Text name = ZQMEnvironmentUtil::fileNameCertsP12();
  const auto file = name.text() ? libraryResource(*name.text(), "p12") : std::nullopt;
  // If the key cannot be loaded, the decryption below fails.
  if (file) {
    cryptography.loadPrivateKeyFromFile(*file, ZQMEnvironmentUtil::filePasswordCertsP12().string());
  }
  auto plain = cryptography.rsaDecryptString(*protectedText.text());
  if (!plain || plain->empty()) {
    ZQMLogHandler::logToDebugWithText(
        "ZQMCore - Error decrypting the Endpoint. Null value, assuming default value.");
    return std::nullopt;
  }
  ZQMLogHandler::logToDebugWithText("ZQMCore - Endpoint decrypted, value: " + *plain);
  return plain;
}

Value hostInformation(std::string_view key) {
  const auto package = platform().packages->mainPackage();
  return package ? (*package)[key] : Value();
}

std::optional<std::string> groupContainer() {
  const Value identifier = hostInformation("NSGroupIdentifier");
  auto container =
      identifier.text() ? platform().directories->groupContainer(*identifier.text()) : std::nullopt;
  if (!container) {
    platform().systemLog->error(
        "NSGroupIdentifier key with invalid or missing value in the Info.plist or App Groups file "
        "missing from App capabilities. (-999)");
  }
  return container;
}

}  // namespace zqm
