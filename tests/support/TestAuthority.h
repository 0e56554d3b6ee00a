// A certificate authority of the tests' own.
#pragma once

#include <memory>
#include <string>

#include "tests/support/TemporaryDirectory.h"
#include "tools/zqm/HttpServer.h"

namespace zqm::testing {

class TestAuthority {
 public:
  TestAuthority();
  ~TestAuthority();

  // What a client trusts that trusts this authority.
  std::string authoritiesFile() const;
  // A certificate for a subject alternative name such as "IP:127.0.0.1", and its key.
  tools::TlsFiles issue(const std::string& subjectAlternativeName);

 private:
  struct Identity;
  TemporaryDirectory directory_;
  std::unique_ptr<Identity> identity_;
  int issued_ = 0;
};

}  // namespace zqm::testing
