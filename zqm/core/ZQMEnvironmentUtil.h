// ZQMEnvironmentUtil: the settings that the integrator put into the library's own package.
#pragma once

#include <optional>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

// Reads the settings afresh at each call. Without any settings a text is "" and a number 1; where
// the settings lack just that key, the result is absent. A value of another kind is answered as it
// stands.
class ZQM_EXPORT ZQMEnvironmentUtil {
 public:
  // The "Environments" dictionary, or none.
  static std::optional<Dictionary> environment();

  // Base addresses: a path is appended to them as they are, so they end in "/".
  static Text adEnvironmentUri();
  static Text appEnvironmentUri();
  static Text configEnvironmentUri();
  static Text coreEnvironmentUri();
  static Text dataEnvironmentUri();
  static Text deviceEnvironmentUri();
  static Text geoEnvironmentUri();
  static Text notificationEnvironmentUri();
  static Text reportEnvironmentUri();
  static Text reportInboxEnvironmentUri();
  static Text graylogEnvironmentUri();

  // A number, read from its text in the current locale; absent for a text that is none.
  static Value kelpoId();
  static bool isDebug();

  // The resource in the library's package that holds the private key, and its password.
  static Text fileNameCertsP12();
  static Text filePasswordCertsP12();
};

}  // namespace zqm
