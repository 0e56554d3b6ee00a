// The files under tests/data: key pairs and PKCS#12 files (see make-pkcs12 there).
#pragma once

#include <string>

#include "zqm/base/Value.h"

namespace zqm::testing {

// A 1024-bit pair: "small.der" and "small.p12". A 2048-bit one: "identity.der" and many files.
inline constexpr const char* kSmallPassword = "secret";
inline constexpr const char* kPassword = "open sesame";

Bytes readTestData(const std::string& name);

}  // namespace zqm::testing
