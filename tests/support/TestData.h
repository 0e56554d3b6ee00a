// The files under tests/data: key pairs and PKCS#12 files (see make-pkcs12 there).
#pragma once

#include <fstream>
#include <iterator>
#include <string>

#include "zqm/base/Value.h"

namespace zqm::testing {

// A 1024-bit pair: "small.der" and "small.p12". A 2048-bit one: "identity.der" and many files.
inline constexpr const char* kSmallPassword = "secret";
inline constexpr const char* kPassword = "open sesame";

inline Bytes readTestData(const std::string& name) {
  std::ifstream file(std::string(ZQM_TEST_DATA) + "/" + name, std::ios::binary);
  file.exceptions(std::ios::failbit | std::ios::badbit);
  return Bytes(std::istreambuf_iterator<char>(file.rdbuf()), {});
}

}  // namespace zqm::testing
