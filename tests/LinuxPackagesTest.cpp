// Packages as directories on disk.
#include "zqm/platform/linux/files/LinuxPackages.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>

#include "tests/support/FakePlatform.h"
#include "tests/support/Limited.h"
#include "tests/support/Tree.h"
#include "tools/zqm/PropertyListWriter.h"

namespace zqm {
namespace {

// A host's main package under "app" and an installed library under "installed".
class LinuxPackagesTest : public ::testing::Test {
 protected:
  testing::Tree tree;
  std::shared_ptr<testing::FakeSystemLog> log = std::make_shared<testing::FakeSystemLog>();
  LinuxPackages::Places places{.main = tree / "app", .installedLibrary = tree / "installed"};

  LinuxPackagesTest() {
    put("app", "org.example.host");
    put("installed", "org.zqm.core");
  }
  // Makes a package with settings.
  void put(const std::string& directory, const std::string& identifier) const {
    const Dictionary info = {{"CFBundleIdentifier", identifier},
                             {"Environments", "of " + identifier}};
    tree.put(directory + "/Info.plist", asText(*tools::writePropertyList(info)));
  }

  // Where the package is found, below the tree; none where it is not.
  std::optional<std::string> placeOf(std::string_view identifier) const {
    const auto found = LinuxPackages(places, log).packageWithIdentifier(identifier);
    return found ? std::optional(below(*found)) : std::nullopt;
  }
  std::string frameworks() const {
    std::string found;
    for (const Package& one : LinuxPackages(places, log).frameworks()) found += below(one) + " ";
    return found;
  }
  std::string below(const Package& package) const {
    return std::filesystem::relative(package.directory, tree.path());
  }
};

TEST_F(LinuxPackagesTest, TheMainPackageIsTheProgramsDirectoryOrItsShare) {
  LinuxPackages packages({.executable = tree / "usr/bin/host"}, log);
  EXPECT_FALSE(packages.mainPackage());
  put("usr/share/host", "of the share");
  EXPECT_EQ(below(packages.mainPackage().value()), "usr/share/host");
  put("usr/bin", "beside the program");
  EXPECT_EQ(below(packages.mainPackage().value()), "usr/bin");
}

TEST_F(LinuxPackagesTest, AChangeOfADescriptionIsSeenAtOnce) {
  LinuxPackages packages(places, log);
  ASSERT_TRUE(packages.mainPackage());
  // Of the same length, within the same tick of the clock.
  for (const char* identifier : {"a", "b"}) {
    put("app", identifier);
    EXPECT_EQ(packages.mainPackage().value()["CFBundleIdentifier"], Value(identifier));
  }
}

TEST_F(LinuxPackagesTest, ADamagedDescriptionIsNoPackageAndTheSystemLogTellsWhyOnce) {
  const std::string file = tree / "app/Info.plist";
  LinuxPackages packages(places, log);
  const std::pair<const char*, const char*> damages[] = {
      {"<array>\n<dict></array>", "line 2: </array> does not close <dict>."},
      {"<array/>", "it holds no dictionary."},
      {"", "it is empty."}};
  std::vector<std::string> lines;
  for (const auto& [damaged, fault] : damages) {
    tree.put("app/Info.plist", damaged);
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(packages.mainPackage());
    lines.push_back("The property list " + file + " cannot be read: " + fault);
    EXPECT_EQ(log->lines, lines);
  }
  put("app", "org.example.host");
  std::filesystem::remove(file);
  EXPECT_FALSE(packages.mainPackage());
  EXPECT_EQ(log->lines, lines) << "a missing one is no fault";
}

// The installed package and the list of what is beside it are old enough to be kept once read.
TEST_F(LinuxPackagesTest, WhatCannotBeReadForAMomentIsReadLaterAndANewPackageIsFound) {
  const std::string library = installedLibraryPackage();
  const std::filesystem::path directory = std::filesystem::path(library).parent_path();
  for (const std::string& kept : {library + "/Info.plist", directory.string()}) {
    struct stat status {};
    ASSERT_EQ(stat(kept.c_str(), &status), 0);
    while (std::time(nullptr) - status.st_ctim.tv_sec < 4) usleep(100'000);
  }
  LinuxPackages main({.main = library}, log);
  LinuxPackages packages({.main = directory}, log);
  EXPECT_FALSE(testing::limited(
      RLIMIT_NOFILE, 0, [&] { return main.mainPackage() || !packages.frameworks().empty(); }));
  EXPECT_TRUE(main.mainPackage());
  EXPECT_EQ(packages.frameworks().size(), 1U);
  const auto late = directory / "Late.bundle";
  std::filesystem::copy(library, late);
  const std::size_t count = packages.frameworks().size();
  std::filesystem::remove_all(late);
  EXPECT_EQ(count, 2U);
  EXPECT_EQ(packages.frameworks().size(), 1U);
}

TEST_F(LinuxPackagesTest, TheHostsCopyOfTheLibraryGoesFirstAndAloneGivesSettings) {
  const auto settings = [this] {
    return LinuxPackages(places, log).packageWithIdentifier("org.zqm.core").value()["Environments"];
  };
  EXPECT_EQ(frameworks(), "installed ");
  EXPECT_TRUE(settings().isAbsent());
  put("app/ZQMCore.bundle", "org.example.other");
  EXPECT_EQ(placeOf("org.zqm.core"), "installed") << "it is found by its identifier";
  put("app/ZQMCore.bundle", "org.zqm.core");
  EXPECT_EQ(placeOf("org.zqm.core"), "app/ZQMCore.bundle");
  EXPECT_EQ(settings(), Value("of org.zqm.core"));
}

TEST_F(LinuxPackagesTest, FrameworksAreThePackagesBesideTheMainOneInTheOrderOfTheirNames) {
  for (const char* name : {"app/b", "app/a", "app/.hidden"}) put(name, name);
  put("app/ZQMCore.bundle", "org.zqm.core");
  tree.put("app/resources/picture", "");
  EXPECT_EQ(frameworks(), "app/ZQMCore.bundle app/a app/b ");
  for (const char* missing : {"app/.hidden", "installed"}) {
    EXPECT_EQ(placeOf(missing), std::nullopt) << missing;
  }
  EXPECT_EQ(placeOf("app/b"), "app/b");
  EXPECT_EQ(placeOf("org.example.host"), "app");
}

TEST_F(LinuxPackagesTest, AHostMayHandOverEveryDirectory) {
  for (const char* name : {"a", "b"}) put(name, name);
  for (const char* name : {"app/ZQMCore.bundle", "own"}) put(name, "org.zqm.core");
  places.library = tree / "own";
  EXPECT_EQ(frameworks(), "own ") << "the copy in the main package would shadow it";
  places.frameworks = {tree / "b", tree / "missing", tree / "a"};
  EXPECT_EQ(frameworks(), "b a own ");
}

TEST_F(LinuxPackagesTest, ResourcesAreFilesOfThePackageAndAMissingTextReadsAsItsKey) {
  for (const char* name : {"app/key.p12", "app/plain", "outside.p12"}) tree.put(name, "");
  LinuxPackages packages(places, log);
  const Package package = packages.mainPackage().value();
  EXPECT_EQ(packages.resource(package, "key", "p12"), tree / "app/key.p12");
  EXPECT_EQ(packages.resource(package, "plain", ""), tree / "app/plain");
  EXPECT_EQ(packages.resource(package, "../outside", "p12"), std::nullopt);
  EXPECT_EQ(packages.resource(package, std::string_view("key\0", 4), "p12"), std::nullopt);
  const Dictionary texts = {{"WiFi", "Rede sem fio"}};
  tree.put("app/Localizable.strings", asText(*tools::writePropertyList(texts)));
  EXPECT_EQ(packages.localizedString("WiFi"), "Rede sem fio");
  EXPECT_EQ(packages.localizedString("Cellular"), "Cellular");
}

}  // namespace
}  // namespace zqm
