// Writes and finds the files of a sandbox.
#include "tools/zqm/Sandbox.h"

#include <array>
#include <stdexcept>
#include <utility>

#include "tools/zqm/FileAccess.h"
#include "zqm/base/Version.h"

namespace zqm::tools {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::pair<const char*, const char*>, 10> kBaseAddresses = {{
    {"AD_ENVIRONMENT_URI", "ad/"},
    {"APP_ENVIRONMENT_URI", "app/"},
    {"CONFIG_ENVIRONMENT_URI", "config/"},
    {"START_ENVIRONMENT_URI", "start/"},
    {"DATA_ENVIRONMENT_URI", "data/"},
    {"DEVICE_ENVIRONMENT_URI", "device/"},
    {"GEO_ENVIRONMENT_URI", "geo/"},
    {"NOTIFICATION_ENVIRONMENT_URI", "notification/"},
    {"REPORT_ENVIRONMENT_URI", "report/"},
    // The library keeps this service out of its HTTP log by the word in the address.
    {"GRAYLOG_ENVIRONMENT_URI", "graylog/"},
}};

Dictionary hostInfoFor(const SandboxOptions& options) {
  return {{"CFBundleIdentifier", "org.zqm.example.host"},
          {"CFBundleName", "Example host"},
          {"CFBundleShortVersionString", options.applicationVersion},
          {"CFBundleVersion", "1"},
          {"NSGroupIdentifier", "group.org.zqm.example"},
          {"UIBackgroundModes", List{"fetch", "remote-notification"}}};
}

Dictionary coreInfoFor(const SandboxOptions& options, const IntegratorKey& key) {
  return {{"CFBundleIdentifier", "org.zqm.core"},
          {"CFBundleName", "ZQMCore"},
          {"CFBundleShortVersionString", versionString},
          {"Environments", sandboxEnvironments(options.backendUrl, key.password)}};
}

}  // namespace

Dictionary sandboxEnvironments(std::string_view backendUrl, std::string_view pkcs12Password) {
  Dictionary settings;
  for (const auto& [key, path] : kBaseAddresses) {
    settings.set(key, std::string(backendUrl).append(path));
  }
  settings.set("KELPO_ID", "1");
  settings.set("IS_DEBUG", false);
  settings.set("FILE_NAME_CERTS_P12", kSandboxPkcs12Name);
  settings.set("FILE_PASSWORD_CERTS_P12", pkcs12Password);
  return settings;
}

Sandbox Sandbox::create(const fs::path& directory, const IntegratorKey& key,
                        const SandboxOptions& options) {
  makeEmptyDirectory(directory);
  Sandbox sandbox(directory);
  makeEmptyDirectory(sandbox.hostPackage());
  makeEmptyDirectory(sandbox.corePackage());
  writeNewFile(sandbox.certificateFile(), key.certificate);
  writeNewFile(sandbox.applicationIdFile(),
               toBytes(protect(key.certificate, options.applicationId) + "\n"));
  writeNewDictionary(sandbox.hostPackage() / "Info.plist", hostInfoFor(options));
  writeNewFile(sandbox.pkcs12File(), key.pkcs12);
  writeNewDictionary(sandbox.corePackage() / "Devices.plist",
                     {{"aarch64", "ARM, 64 bits"}, {"x86_64", "PC, 64 bits"}});
  writeNewDictionary(sandbox.corePackage() / "Info.plist", coreInfoFor(options, key));
  return sandbox;
}

Sandbox Sandbox::open(const fs::path& directory) {
  Sandbox sandbox(directory);
  for (const fs::path& file : {sandbox.certificateFile(), sandbox.applicationIdFile(),
                               sandbox.corePackage() / "Info.plist"}) {
    if (fs::exists(file)) continue;
    throw std::runtime_error(directory.string() + " is no sandbox: there is no " + file.string());
  }
  return sandbox;
}

Sandbox::Sandbox(fs::path directory) : directory_(std::move(directory)) {}

fs::path Sandbox::pkcs12File() const {
  return corePackage() / std::string(kSandboxPkcs12Name).append(".p12");
}

Bytes Sandbox::certificate() const { return readCertificate(certificateFile()); }

std::string Sandbox::applicationId() const {
  const Bytes content = readFile(applicationIdFile());
  const std::string_view text = asText(content);
  return std::string(text.substr(0, text.find('\n')));
}

Dictionary Sandbox::hostInfo() const { return readDictionary(hostPackage() / "Info.plist"); }

Dictionary Sandbox::environments() const {
  const Dictionary info = readDictionary(corePackage() / "Info.plist");
  const Dictionary* const settings = info["Environments"].dictionary();
  if (settings == nullptr) throw std::runtime_error("the library's package has no settings");
  return *settings;
}

}  // namespace zqm::tools
