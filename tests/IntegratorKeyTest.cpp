// What an integrator may hand to the tools.
#include "tools/zqm/IntegratorKey.h"

#include <gtest/gtest.h>

#include "tests/support/TestAuthority.h"

namespace zqm::tools {
namespace {

TEST(IntegratorKeyTest, ReadsACertificateInPemToo) {
  const testing::TestAuthority authority;
  constexpr std::uint8_t kDerSequence = 0x30;
  EXPECT_EQ(readCertificate(authority.authoritiesFile()).at(0), kDerSequence);
}

}  // namespace
}  // namespace zqm::tools
