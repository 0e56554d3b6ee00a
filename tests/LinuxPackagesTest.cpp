// Packages as directories on disk.
#include "zqm/platform/linux/LinuxPackages.h"

#include <gtest/gtest.h>

#include "tests/support/Tree.h"

namespace zqm {
namespace {

using testing::Tree;

std::string dictionary(std::string_view entries) {
  return std::string("<plist version=\"1.0\"><dict>").append(entries).append("</dict></plist>");
}

std::string entry(std::string_view key, std::string_view value) {
  return std::string("<key>")
      .append(key)
      .append("</key><string>")
      .append(value)
      .append("</string>");
}

std::string info(std::string_view identifier, std::string_view version = "1") {
  return dictionary(entry("CFBundleIdentifier", identifier) + entry("CFBundleName", "Some name") +
                    entry("CFBundleShortVersionString", version));
}

std::vector<std::string> directoriesOf(const std::vector<Package>& packages) {
  std::vector<std::string> directories;
  for (const Package& package : packages) directories.push_back(package.directory);
  return directories;
}

// A host's main package under "app" and an installed library under "installed".
class LinuxPackagesTest : public ::testing::Test {
 protected:
  Tree tree;
  LinuxPackages::Places places{.main = tree / "app", .installedLibrary = tree / "installed"};

  LinuxPackagesTest() {
    tree.put("app/Info.plist", info("org.example.host", "3.1"));
    tree.put("installed/Info.plist",
             dictionary(entry("CFBundleIdentifier", "org.zqm.core") +
                        entry("CFBundleShortVersionString", "9") + "<key>Environments</key><dict>" +
                        entry("KELPO_ID", "1") + "</dict>"));
  }
};

TEST_F(LinuxPackagesTest, TheMainPackageIsTheProgramsDirectoryOrItsShare) {
  LinuxPackages::Places found{.executable = tree / "usr/bin/host"};
  EXPECT_FALSE(LinuxPackages(found).mainPackage());
  tree.put("usr/share/host/Info.plist", info("of the share"));
  ASSERT_TRUE(LinuxPackages(found).mainPackage());
  EXPECT_EQ(LinuxPackages(found).mainPackage()->info["CFBundleIdentifier"], Value("of the share"));
  tree.put("usr/bin/Info.plist", info("beside the program"));
  EXPECT_EQ(LinuxPackages(found).mainPackage()->directory, tree / "usr/bin");
  found.main = tree / "app";
  EXPECT_EQ(LinuxPackages(found).mainPackage()->info["CFBundleShortVersionString"], Value("3.1"));
}

TEST_F(LinuxPackagesTest, ADamagedDescriptionIsNoPackageAndAChangeIsSeenAtOnce) {
  LinuxPackages packages(places);
  ASSERT_TRUE(packages.mainPackage());
  for (const char* damaged : {"", "<plist><dict><key>a", "<plist><array/></plist>", "bplist00"}) {
    tree.put("app/Info.plist", damaged);
    EXPECT_FALSE(packages.mainPackage()) << damaged;
  }
  tree.put("app/Info.plist", info("org.example.host", "3.2"));
  ASSERT_TRUE(packages.mainPackage());
  EXPECT_EQ(packages.mainPackage()->info["CFBundleShortVersionString"], Value("3.2"));
  // The same length, within the same tick of the clock.
  tree.put("app/Info.plist", info("org.example.host", "3.3"));
  EXPECT_EQ(packages.mainPackage()->info["CFBundleShortVersionString"], Value("3.3"));
}

TEST_F(LinuxPackagesTest, TheInstalledLibraryGivesNoSettings) {
  LinuxPackages packages(places);
  const auto installed = packages.packageWithIdentifier("org.zqm.core");
  ASSERT_TRUE(installed);
  EXPECT_EQ(installed->info["CFBundleShortVersionString"], Value("9"));
  EXPECT_TRUE(installed->info["Environments"].isAbsent());
  EXPECT_EQ(directoriesOf(packages.frameworks()), std::vector{tree / "installed"});
}

TEST_F(LinuxPackagesTest, TheHostsCopyOfTheLibrarysPackageGoesFirst) {
  LinuxPackages packages(places);
  tree.put("app/ZQMCore.bundle/Info.plist", info("org.example.other"));
  EXPECT_EQ(packages.packageWithIdentifier("org.zqm.core")->directory, tree / "installed")
      << "it is found by its identifier";
  tree.put("app/ZQMCore.bundle/Info.plist",
           dictionary(entry("CFBundleIdentifier", "org.zqm.core") +
                      "<key>Environments</key><dict>" + entry("KELPO_ID", "7") + "</dict>"));
  const auto own = packages.packageWithIdentifier("org.zqm.core");
  ASSERT_TRUE(own);
  ASSERT_TRUE(own->info["Environments"].dictionary());
  EXPECT_EQ((*own->info["Environments"].dictionary())["KELPO_ID"], Value("7"));
  tree.put("app/ZQMCore.bundle/Info.plist", "damaged");
  EXPECT_EQ(packages.packageWithIdentifier("org.zqm.core")->directory, tree / "installed");
}

TEST_F(LinuxPackagesTest, FrameworksAreThePackagesBesideTheMainOneInTheOrderOfTheirNames) {
  tree.put("app/Zebra.framework/Info.plist", info("org.example.zebra"));
  tree.put("app/Alpha.framework/Info.plist", info("org.example.alpha"));
  tree.put("app/.hidden/Info.plist", info("org.example.hidden"));
  tree.put("app/resources/picture", "");
  tree.put("app/ZQMCore.bundle/Info.plist", info("org.zqm.core"));
  LinuxPackages packages(places);
  EXPECT_EQ(directoriesOf(packages.frameworks()),
            (std::vector{tree / "app/Alpha.framework", tree / "app/ZQMCore.bundle",
                         tree / "app/Zebra.framework"}));
  EXPECT_EQ(packages.packageWithIdentifier("org.example.zebra")->directory,
            tree / "app/Zebra.framework");
  EXPECT_EQ(packages.packageWithIdentifier("org.example.host")->directory, tree / "app");
  EXPECT_FALSE(packages.packageWithIdentifier("org.example.missing"));
}

TEST_F(LinuxPackagesTest, AHostMayHandOverEveryDirectory) {
  tree.put("app/ZQMCore.bundle/Info.plist", info("org.zqm.core"));
  tree.put("own/Info.plist", info("org.zqm.core", "5"));
  tree.put("b/Info.plist", info("b"));
  tree.put("a/Info.plist", info("a"));
  places.library = tree / "own";
  EXPECT_EQ(directoriesOf(LinuxPackages(places).frameworks()), std::vector{tree / "own"})
      << "the copy in the main package would shadow it";
  places.frameworks = {tree / "b", tree / "missing", tree / "a"};
  LinuxPackages packages(places);
  EXPECT_EQ(packages.packageWithIdentifier("org.zqm.core")->directory, tree / "own");
  EXPECT_EQ(directoriesOf(packages.frameworks()),
            (std::vector{tree / "b", tree / "a", tree / "own"}));
}

TEST_F(LinuxPackagesTest, ResourcesAreFilesOfThePackage) {
  LinuxPackages packages(places);
  tree.put("app/key.p12", "secret");
  tree.put("outside.p12", "secret");
  tree.put("app/plain", "");
  std::filesystem::create_directory(tree / "app/folder.p12");
  const Package package = *packages.mainPackage();
  EXPECT_EQ(packages.resource(package, "key", "p12"), tree / "app/key.p12");
  EXPECT_EQ(packages.resource(package, "plain", ""), tree / "app/plain");
  for (const std::string& name : {std::string("missing"), std::string("folder"), std::string(),
                                  std::string("../outside"), std::string("key\0", 4)}) {
    EXPECT_EQ(packages.resource(package, name, "p12"), std::nullopt) << name;
  }
}

TEST_F(LinuxPackagesTest, AMissingTextReadsAsItsKey) {
  LinuxPackages packages(places);
  EXPECT_EQ(packages.localizedString("WiFi"), "WiFi");
  tree.put("app/Localizable.strings",
           dictionary(entry("WiFi", "Rede sem fio") + "<key>Cellular</key><integer>1</integer>"));
  EXPECT_EQ(packages.localizedString("WiFi"), "Rede sem fio");
  EXPECT_EQ(packages.localizedString("Cellular"), "Cellular");
  EXPECT_EQ(packages.localizedString("No Connection"), "No Connection");
}

TEST(InstalledPackageTest, NamesVersionAndDevicesOfThisBuild) {
  LinuxPackages packages({.installedLibrary = installedLibraryPackage()});
  const auto own = packages.packageWithIdentifier("org.zqm.core");
  ASSERT_TRUE(own) << installedLibraryPackage();
  EXPECT_EQ(own->info["CFBundleName"], Value("ZQMCore"));
  EXPECT_TRUE(packages.resource(*own, "Devices", "plist"));
  EXPECT_TRUE(executablePath().ends_with("/zqm_tests"));
}

}  // namespace
}  // namespace zqm
