// Files and directories on a real disk.
#include "zqm/platform/linux/files/LinuxFiles.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <functional>
#include <set>

#include "tests/support/Environment.h"
#include "tests/support/Limited.h"
#include "tests/support/Tree.h"
#include "zqm/platform/linux/files/LinuxDirectories.h"
#include "zqm/platform/posix/Descriptor.h"

namespace zqm {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::Environment;
using testing::limited;
using testing::Tree;

using Names = std::set<std::string>;

class LinuxFilesTest : public ::testing::Test {
 protected:
  Names names() const {
    Names found;
    for (const auto& entry : fs::directory_iterator(tree.path())) {
      found.insert(entry.path().filename());
    }
    return found;
  }

  const Tree tree{};
  LinuxFiles files;
};

TEST_F(LinuxFilesTest, ReplacesWholeFilesThatOnlyTheUserReads) {
  for (const char* content : {"first", ""}) {
    EXPECT_TRUE(files.writeAtomically(tree / "record", toBytes(content)));
    EXPECT_EQ(files.read(tree / "record"), toBytes(content));
  }
  EXPECT_EQ(fs::status(tree / "record").permissions(), fs::perms(0600));
  fs::create_symlink(tree.put("other", "kept"), tree / "link");
  EXPECT_TRUE(files.writeAtomically(tree / "link", toBytes("new")));
  EXPECT_EQ(contentOf(tree / "other"), "kept") << "a link is replaced, not followed";
  EXPECT_EQ(contentOf(tree / "link"), "new");
  EXPECT_EQ(names(), (Names{"link", "other", "record"}));
}

TEST_F(LinuxFilesTest, AWriteThatCannotBeLeavesWhatWasThere) {
  const std::string path = tree.put("record", "old");
  fs::create_directory(tree / "directory");
  EXPECT_FALSE(files.writeAtomically(tree / "directory", toBytes("x")));
  EXPECT_FALSE(files.writeAtomically(tree / "missing/record", toBytes("x")));
  EXPECT_FALSE(files.writeAtomically(path + std::string("\0x", 2), toBytes("x")));

  EXPECT_FALSE(limited(RLIMIT_FSIZE, 4096, [&] {
    return files.writeAtomically(path, Bytes(100'000));
  })) << "a full disk";
  EXPECT_EQ(contentOf(path), "old");
  EXPECT_EQ(names(), (Names{"directory", "record"}));
}

TEST_F(LinuxFilesTest, RemovesTheLitterOfDeadWritersOnly) {
  tree.put(".zqm-dead.tmp", "");
  tree.put(".zqm-notes", "of somebody else");
  const Descriptor living = openFile(tree.put(".zqm-living.tmp", ""), O_RDWR);
  ASSERT_EQ(flock(living.get(), LOCK_EX), 0);
  EXPECT_TRUE(files.writeAtomically(tree / "record", {}));
  EXPECT_EQ(names(), (Names{".zqm-living.tmp", ".zqm-notes", "record"}));
}

TEST_F(LinuxFilesTest, TellsWhatIsNotThereFromWhatIsNoFileAndWhatCannotBeReadNow) {
  const std::string path = tree.put("record", "content");
  EXPECT_EQ(files.contentOf(path).bytes, toBytes("content"));
  EXPECT_FALSE(files.read("/proc/self/status").value_or(Bytes()).empty()) << "its size is 0";
  fs::create_symlink("nowhere", tree / "link");
  for (const std::string& none : {tree / "missing", tree / "missing/record", path + "/x",
                                  tree / "link", path + std::string("\0x", 2)}) {
    EXPECT_EQ(files.contentOf(none).state, FileContent::none) << none;
  }
  ASSERT_EQ(mkfifo((tree / "fifo").c_str(), 0600), 0);
  fs::resize_file(tree.put("huge", ""), (std::uintmax_t{64} << 20) + 1);
  for (const std::string& foreign : {tree.root(), tree / "huge", tree / "fifo"}) {
    EXPECT_EQ(files.contentOf(foreign).state, FileContent::foreign) << foreign;
    EXPECT_EQ(files.read(foreign), std::nullopt) << foreign;
    EXPECT_TRUE(files.opens(foreign)) << "without waiting for its other end";
  }
  const auto unread = limited(RLIMIT_NOFILE, 0, [&] { return files.contentOf(path); });
  EXPECT_EQ(unread.state, FileContent::notNow);
  EXPECT_TRUE(files.remove(tree / "huge"));
  EXPECT_FALSE(files.exists(tree / "huge") || files.opens(tree / "huge"));
}

TEST_F(LinuxFilesTest, ARootStandsInFrontOfEveryPathAndWithoutItNothingIsThere) {
  std::optional<std::string> root = tree.root();
  LinuxFiles rooted([&] { return root; });
  EXPECT_TRUE(rooted.writeAtomically("/note", {}));
  EXPECT_TRUE(fs::exists(tree / "note"));
  root = std::nullopt;
  EXPECT_FALSE(rooted.exists("/"));
  EXPECT_FALSE(rooted.opens("/"));
  EXPECT_FALSE(rooted.remove(tree / "note"));
  EXPECT_FALSE(rooted.writeAtomically(tree / "note", {}));
}

TEST(LinuxDirectoriesTest, UserDataIsWhereTheEnvironmentSays) {
  const Environment home{{"HOME", "/home/a/"}, {"XDG_DATA_HOME", "/data"}};
  EXPECT_EQ(userDataDirectory({}), "/data");
  for (const char* notAbsolute : {"", "data"}) {
    const Environment set{{"XDG_DATA_HOME", notAbsolute}};
    EXPECT_EQ(userDataDirectory({}), "/home/a/.local/share");
  }
  const Environment none{{"HOME", std::nullopt}};
  EXPECT_TRUE(homeDirectory({}).value_or("/").starts_with('/')) << "of the user database";
}

TEST(LinuxDirectoriesTest, MakesContainersAndDocumentsForTheUserAlone) {
  const Tree tree{};
  LinuxDirectories directories(tree / "share", [] { return std::optional("org.example.host"); });
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(directories.groupContainer("group.example"), tree / "share/group.example");
    EXPECT_EQ(fs::status(tree / "share/group.example").permissions(), fs::perms(0700));
    EXPECT_EQ(directories.documents(), tree / "share/org.example.host/Documents");
    // They are made again after they went.
    fs::remove_all(tree / "share");
  }
}

TEST(LinuxDirectoriesTest, AnIdentifierThatNamesNoDirectoryOfItsOwnCountsAsMissing) {
  using namespace std::string_literals;
  const Tree tree{};
  tree.put("share/taken", "a file");
  LinuxDirectories directories(tree / "share", [] { return std::optional<std::string>(); });
  EXPECT_EQ(directories.documents(), std::nullopt);
  for (const std::string& identifier :
       {""s, "."s, ".."s, "a/b"s, "a\0b"s, std::string(300, 'x'), "taken"s}) {
    EXPECT_EQ(directories.groupContainer(identifier), std::nullopt) << identifier;
  }
  EXPECT_EQ(LinuxDirectories(std::nullopt, nullptr).groupContainer("group"), std::nullopt);
}

}  // namespace
}  // namespace zqm
