// Where a user's applications keep their data, as the XDG base directories say.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "zqm/platform/Platform.h"

namespace zqm {

// What the environment says, of what is absolute. A host may change its environment at any time, so
// it is read on the host's thread.
struct UserVariables {
  UserVariables();

  std::optional<std::string> home;
  std::optional<std::string> dataHome;
};

// HOME, otherwise the home directory of the user database.
std::optional<std::string> homeDirectory(const UserVariables& variables);

// XDG_DATA_HOME, otherwise .local/share in the home directory.
std::optional<std::string> userDataDirectory(const UserVariables& variables);

class LinuxDirectories : public Directories {
 public:
  // `userData` is absent where the user has no home. `bundleIdentifier` names the documents.
  LinuxDirectories(std::optional<std::string> userData,
                   std::function<std::optional<std::string>()> bundleIdentifier)
      : userData_(std::move(userData)), bundleIdentifier_(std::move(bundleIdentifier)) {}

  std::optional<std::string> groupContainer(std::string_view groupIdentifier) override;
  std::optional<std::string> documents() override;
  std::string temporary() override;

  // The platform's own directory, created when missing.
  std::optional<std::string> own();

 private:
  // `userData`/`identifier``rest`, created when missing.
  std::optional<std::string> place(std::string_view identifier, std::string_view rest) const;

  const std::optional<std::string> userData_;
  const std::function<std::optional<std::string>()> bundleIdentifier_;
};

}  // namespace zqm
