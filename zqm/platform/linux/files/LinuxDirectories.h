// The data directories of a user's applications, as in the XDG base directories.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "zqm/platform/Platform.h"

namespace zqm {

// HOME and XDG_DATA_HOME, if absolute. Construct on the host's thread: the host may change its
// environment at any time.
struct UserVariables {
  UserVariables();

  std::optional<std::string> home;
  std::optional<std::string> dataHome;
};

// Returns HOME, else the home directory in the user database.
std::optional<std::string> homeDirectory(const UserVariables& variables);

// Returns XDG_DATA_HOME, else .local/share in the home directory.
std::optional<std::string> userDataDirectory(const UserVariables& variables);

class LinuxDirectories : public Directories {
 public:
  // `userData` is absent if the user has no home. `bundleIdentifier` names the documents directory.
  LinuxDirectories(std::optional<std::string> userData,
                   std::function<std::optional<std::string>()> bundleIdentifier)
      : userData_(std::move(userData)), bundleIdentifier_(std::move(bundleIdentifier)) {}

  std::optional<std::string> groupContainer(std::string_view groupIdentifier) override;
  std::optional<std::string> documents() override;
  std::string temporary() override;

  // Returns the platform's own directory, created if missing.
  std::optional<std::string> own();

 private:
  // Returns `userData`/`identifier` with `rest` appended, created if missing.
  std::optional<std::string> place(std::string_view identifier, std::string_view rest) const;

  const std::optional<std::string> userData_;
  const std::function<std::optional<std::string>()> bundleIdentifier_;
};

}  // namespace zqm
