// Identifiers, and what two processes see of them.
#include "zqm/platform/linux/LinuxIdentity.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>
#include <set>

#include "tests/support/Tree.h"
#include "zqm/platform/linux/LinuxFiles.h"

namespace zqm {
namespace {

using testing::contentOf;
using testing::Tree;

bool isUpperCaseUuid(const std::string& text) {
  return std::regex_match(text, std::regex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"));
}

class LinuxIdentityTest : public ::testing::Test {
 protected:
  Tree tree;
  LinuxIdentity::Sources sources{
      .directory = [this] { return std::optional(tree.root()); },
      .bundleIdentifier = [] { return std::optional<std::string>("org.example.host"); },
      .root = tree.root()};

  LinuxIdentity identity() const { return {sources, std::make_shared<LinuxFiles>()}; }
  std::string file() const { return tree / "advertising-identifier"; }
};

TEST_F(LinuxIdentityTest, KeepsARandomIdentifierUntilItsFileIsDeleted) {
  const std::string first = identity().advertisingIdentifier();
  EXPECT_TRUE(isUpperCaseUuid(first)) << first;
  EXPECT_EQ(identity().advertisingIdentifier(), first);
  struct stat status {};
  ASSERT_EQ(stat(file().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  std::filesystem::remove(file());
  const std::string second = identity().advertisingIdentifier();
  EXPECT_NE(second, first);
  for (const char* damaged : {"", "no identifier", "6D92078A-8246-4BA4-AE5B-76104861E7D"}) {
    tree.put("advertising-identifier", damaged);
    const std::string replaced = identity().advertisingIdentifier();
    EXPECT_TRUE(isUpperCaseUuid(replaced)) << replaced;
    EXPECT_EQ(contentOf(file()), replaced + "\n");
  }
  tree.put("advertising-identifier", "6d92078a-8246-4ba4-ae5b-76104861e7dc\n");
  EXPECT_EQ(identity().advertisingIdentifier(), "6D92078A-8246-4BA4-AE5B-76104861E7DC");
}

TEST_F(LinuxIdentityTest, ProcessesThatStartTogetherAgree) {
  int answers[2];
  int gate[2];
  ASSERT_EQ(pipe(answers), 0);
  ASSERT_EQ(pipe(gate), 0);
  constexpr int kProcesses = 8;
  for (int i = 0; i < kProcesses; ++i) {
    if (fork() != 0) continue;
    close(gate[1]);
    char byte = 0;
    // Returns when the parent closes the other end.
    if (read(gate[0], &byte, 1) != 0) _exit(1);
    const std::string found = identity().advertisingIdentifier();
    _exit(write(answers[1], found.data(), found.size()) == 36 ? 0 : 1);
  }
  close(gate[0]);
  close(gate[1]);
  close(answers[1]);
  std::set<std::string> found;
  for (int i = 0; i < kProcesses; ++i) {
    std::string one(36, ' ');
    EXPECT_EQ(read(answers[0], one.data(), one.size()), 36);
    found.insert(one);
  }
  close(answers[0]);
  for (int i = 0; i < kProcesses; ++i) wait(nullptr);
  EXPECT_EQ(found, std::set{identity().advertisingIdentifier()});
}

TEST_F(LinuxIdentityTest, AHostMaySupplyItsOwnOrNone) {
  sources.advertisingIdentifier = [] { return std::string("FROM-HOST"); };
  EXPECT_EQ(identity().advertisingIdentifier(), "FROM-HOST");
  sources.advertisingIdentifier = [] { return std::string(); };
  EXPECT_EQ(identity().advertisingIdentifier(), "");
  sources.advertisingIdentifier = []() -> std::string { throw std::runtime_error("refused"); };
  EXPECT_EQ(identity().advertisingIdentifier(), "");
  EXPECT_FALSE(std::filesystem::exists(file()));
  sources.advertisingIdentifier = nullptr;
  sources.directory = [] { return std::optional<std::string>(); };
  EXPECT_EQ(identity().advertisingIdentifier(), "") << "one that cannot be kept is none";
}

TEST_F(LinuxIdentityTest, TheVendorIdentifierBelongsToOneMachineAndOneHost) {
  EXPECT_EQ(identity().vendorIdentifier(), std::nullopt);
  tree.put("etc/machine-id", "uninitialized\n");
  EXPECT_EQ(identity().vendorIdentifier(), std::nullopt);
  tree.put("var/lib/dbus/machine-id", "0123456789abcdef0123456789abcdef\n");
  const auto first = identity().vendorIdentifier();
  // The derivation must never change: it is how a backend knows a device again.
  EXPECT_EQ(first, "E1B361EC-89D7-8125-8A4F-496DA4E7F757");
  tree.put("etc/machine-id", "0123456789abcdef0123456789abcdee\n");
  const auto second = identity().vendorIdentifier();
  EXPECT_NE(second, first);
  sources.bundleIdentifier = [] { return std::optional<std::string>("org.example.hosu"); };
  EXPECT_NE(identity().vendorIdentifier(), second);
  sources.bundleIdentifier = [] { return std::optional<std::string>(); };
  EXPECT_EQ(identity().vendorIdentifier(), std::nullopt);
}

}  // namespace
}  // namespace zqm
