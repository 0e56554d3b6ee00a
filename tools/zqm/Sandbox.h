// Sandbox: all that an integrator prepares for a host application, in one directory:
//   application-id      the protected application identifier, which the host hands to the library
//   certificate.der     the public key, with which the backend protects what it sends
//   host/               the host's main package: its Info.plist, and below it
//   host/ZQMCore.bundle the library's package: settings, PKCS#12 file and device table
// Files have mode 0600, directories 0700.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "tools/zqm/IntegratorKey.h"
#include "zqm/base/Value.h"

namespace zqm::tools {

inline constexpr std::string_view kSandboxPkcs12Name = "integrator";

struct SandboxOptions {
  // "http://host:port/"; the base address of every service stands below it.
  std::string backendUrl;
  std::string applicationId = "sandbox-application";
  std::string applicationVersion = "1.0.0";
};

// The library's settings for a backend at that address and a key under kSandboxPkcs12Name.
Dictionary sandboxEnvironments(std::string_view backendUrl, std::string_view pkcs12Password);

class Sandbox {
 public:
  // Throws std::runtime_error when the directory holds something already or cannot be written.
  static Sandbox create(const std::filesystem::path& directory, const IntegratorKey& key,
                        const SandboxOptions& options);
  // Throws std::runtime_error when the directory holds no such material.
  static Sandbox open(const std::filesystem::path& directory);

  std::filesystem::path hostPackage() const { return directory_ / "host"; }
  std::filesystem::path corePackage() const { return hostPackage() / "ZQMCore.bundle"; }
  std::filesystem::path pkcs12File() const;
  std::filesystem::path certificateFile() const { return directory_ / "certificate.der"; }
  std::filesystem::path applicationIdFile() const { return directory_ / "application-id"; }

  Bytes certificate() const;
  // The protected text.
  std::string applicationId() const;
  // As they stand in the files now.
  Dictionary hostInfo() const;
  Dictionary environments() const;

 private:
  explicit Sandbox(std::filesystem::path directory);

  std::filesystem::path directory_;
};

}  // namespace zqm::tools
