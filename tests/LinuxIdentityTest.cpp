// Identifiers of the user and of the device.
#include "zqm/platform/linux/device/LinuxIdentity.h"

#include <gtest/gtest.h>

#include <latch>

#include "tests/support/Threads.h"
#include "tests/support/Tree.h"
#include "zqm/platform/linux/files/LinuxFiles.h"

namespace zqm {
namespace {

class LinuxIdentityTest : public ::testing::Test {
 protected:
  testing::Tree tree;
  LinuxIdentity::Sources sources{
      .directory = [this] { return std::optional(tree.root()); },
      .bundleIdentifier = [] { return std::optional<std::string>("org.example.host"); },
      .root = tree.root()};

  // Each as a process that has just started would answer.
  std::string advertising() const {
    return LinuxIdentity(sources, std::make_shared<LinuxFiles>()).advertisingIdentifier();
  }
  std::optional<std::string> vendor() const {
    return LinuxIdentity(sources, nullptr).vendorIdentifier();
  }
};

TEST_F(LinuxIdentityTest, KeepsARandomIdentifierUntilItsFileIsDeletedOrDamaged) {
  const std::string first = advertising();
  EXPECT_EQ(advertising(), first);
  std::filesystem::remove(tree / "advertising-identifier");
  EXPECT_NE(advertising(), first);
  tree.put("advertising-identifier", "6D92078A-8246-4BA4-AE5B-76104861E7D");
  const std::string replaced = advertising();
  EXPECT_EQ(replaced.size(), 36U);
  EXPECT_EQ(advertising(), replaced);
  tree.put("advertising-identifier", "6d92078a-8246-4ba4-ae5b-76104861e7dc\n");
  EXPECT_EQ(advertising(), "6D92078A-8246-4BA4-AE5B-76104861E7DC");
}

TEST_F(LinuxIdentityTest, ProcessesThatStartTogetherAgree) {
  constexpr int kProcesses = 8;
  std::latch ready(kProcesses);
  std::vector<std::string> found(kProcesses);
  testing::onThreads(kProcesses, [&](int one) {
    ready.arrive_and_wait();
    found[static_cast<std::size_t>(one)] = advertising();
  });
  EXPECT_EQ(found, std::vector(kProcesses, advertising()));
}

TEST_F(LinuxIdentityTest, AHostMaySupplyItsOwnAndOneThatCannotBeKeptIsNone) {
  sources.directory = [] { return std::optional<std::string>(); };
  EXPECT_EQ(advertising(), "");
  sources.advertisingIdentifier = [] { return std::string("FROM-HOST"); };
  EXPECT_EQ(advertising(), "FROM-HOST");
  sources.advertisingIdentifier = []() -> std::string { throw std::runtime_error("refused"); };
  EXPECT_EQ(advertising(), "");
}

TEST_F(LinuxIdentityTest, TheVendorIdentifierBelongsToOneMachineAndOneHost) {
  tree.put("etc/machine-id", "uninitialized\n");
  EXPECT_EQ(vendor(), std::nullopt);
  tree.put("var/lib/dbus/machine-id", "0123456789abcdef0123456789abcdef\n");
  // The derivation must never change: it is how a backend knows a device again.
  EXPECT_EQ(vendor(), "E1B361EC-89D7-8125-8A4F-496DA4E7F757");
  sources.bundleIdentifier = [] { return std::optional<std::string>("org.example.hosu"); };
  EXPECT_NE(vendor(), "E1B361EC-89D7-8125-8A4F-496DA4E7F757");
  sources.bundleIdentifier = [] { return std::optional<std::string>(); };
  EXPECT_EQ(vendor(), std::nullopt);
}

}  // namespace
}  // namespace zqm
