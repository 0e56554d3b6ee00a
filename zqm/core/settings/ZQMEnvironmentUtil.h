// ZQMEnvironmentUtil: the settings that the integrator put into the library's own package.
#pragma once

#include <optional>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

// Each call reads the settings. Without a settings dictionary, texts are "" and numbers 1. If only
// the key is missing, the result is absent. A text setting of another type is returned unchanged.
class ZQM_EXPORT ZQMEnvironmentUtil {
 public:
  // The "Environments" dictionary, if there is one.
  static std::optional<Dictionary> environment();

  // Base addresses. They end with "/", because paths are appended without a separator.
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

  // An integer, or a number read from text in the current locale; absent for anything else.
  static Value kelpoId();
  static bool isDebug();

  // The resource in the library's package that holds the private key, and its password.
  static Text fileNameCertsP12();
  static Text filePasswordCertsP12();
};

}  // namespace zqm
