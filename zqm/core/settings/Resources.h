// The contents of the host's and the library's packages.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

// Returns the property list `name` of the host's main package, or of the package with an
// identifier. Throws "FileNotFoundException" if there is no readable dictionary of that name.
Dictionary propertyListOfHost(std::string_view name);
Dictionary propertyListOf(std::string_view identifier, std::string_view name);

// Returns the full path of a resource of the library's own package, or std::nullopt.
std::optional<std::string> libraryResource(std::string_view name, std::string_view type);

// Returns the version of the first loaded framework named "ZQMCore" or "ZQMBundle", or "".
Text libraryVersion();

// Decrypts a protected string (Base64 of RSA blocks, PKCS #1) with the integrator's key. Returns
// std::nullopt if the string is absent or empty, the key cannot be loaded, or the result is empty.
std::optional<std::string> decrypted(const Text& protectedText);

// Returns an entry of the main package's information; absent without a package.
Value hostInformation(std::string_view key);

// Returns the container of the group that "NSGroupIdentifier" names. Without one, writes an error
// to the system log and returns std::nullopt.
std::optional<std::string> groupContainer();

}  // namespace zqm
