// Certificate authorities for a local server: as many as a client of a real one reads.
#pragma once

#include <fstream>
#include <string>

#include "tests/support/TestAuthority.h"

namespace zqm::bench {

class Authorities {
 public:
  Authorities() {
    std::ofstream all(file());
    all << std::ifstream("/etc/ssl/certs/ca-certificates.crt").rdbuf();
    all << std::ifstream(authority_.authoritiesFile()).rdbuf();
  }
  std::string file() const { return directory_.path() / "all.pem"; }
  tools::TlsFiles files() { return authority_.issue("IP:127.0.0.1"); }

 private:
  testing::TemporaryDirectory directory_;
  testing::TestAuthority authority_;
};

}  // namespace zqm::bench
