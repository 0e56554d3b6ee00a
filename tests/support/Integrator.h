// An integrator's key, made once for the test program, and its place among the fakes.
#pragma once

#include <string>
#include <string_view>

#include "tests/support/FakePlatform.h"
#include "tools/zqm/IntegratorKey.h"

namespace zqm::testing {

inline const tools::IntegratorKey& integrator() {
  static const auto& made = *new tools::IntegratorKey(tools::makeIntegratorKey());
  return made;
}

inline std::string protectedText(std::string_view text) {
  return tools::protect(integrator().certificate, text);
}

inline void installKey(Fakes& fakes) {
  fakes.files->put("/app/ZQMCore.bundle/integrator.p12", integrator().pkcs12);
  fakes.setSetting("FILE_PASSWORD_CERTS_P12", integrator().password);
}

}  // namespace zqm::testing
