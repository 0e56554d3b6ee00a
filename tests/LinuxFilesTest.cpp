// Files and directories on a real disk.
#include "zqm/platform/linux/LinuxFiles.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>

#include "tests/support/Environment.h"
#include "tests/support/Tree.h"
#include "zqm/platform/linux/Descriptor.h"
#include "zqm/platform/linux/LinuxDirectories.h"

namespace zqm {
namespace {

using testing::contentOf;
using testing::Environment;
using testing::Tree;

std::vector<std::string> namesIn(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

mode_t permissionsOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

TEST(LinuxFilesTest, ReplacesWholeFilesThatOnlyTheUserReads) {
  const Tree tree;
  LinuxFiles files;
  const std::string path = tree / "record.plist";
  EXPECT_TRUE(files.writeAtomically(path, toBytes("first")));
  EXPECT_EQ(permissionsOf(path), 0600U);
  EXPECT_TRUE(files.writeAtomically(path, {}));
  EXPECT_EQ(files.read(path), Bytes());

  const std::string other = tree.put("other", "kept");
  std::filesystem::create_symlink(other, tree / "link");
  EXPECT_TRUE(files.writeAtomically(tree / "link", toBytes("new")));
  EXPECT_EQ(contentOf(other), "kept") << "a link is replaced, not followed";
  EXPECT_EQ(contentOf(tree / "link"), "new");
  EXPECT_EQ(namesIn(tree.root()), (std::vector<std::string>{"link", "other", "record.plist"}));
}

TEST(LinuxFilesTest, AWriteThatCannotBeLeavesWhatWasThere) {
  const Tree tree;
  LinuxFiles files;
  const std::string path = tree.put("record", "old");
  std::filesystem::create_directory(tree / "directory");
  EXPECT_FALSE(files.writeAtomically(tree / "directory", toBytes("x")));
  EXPECT_FALSE(files.writeAtomically(tree / "missing/record", toBytes("x")));
  EXPECT_FALSE(files.writeAtomically("", toBytes("x")));
  EXPECT_FALSE(files.writeAtomically(path + std::string("\0x", 2), toBytes("x")));

  // A full disk, as a limit of 4 KiB shows it.
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{4096, before.rlim_max};
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  const bool written = files.writeAtomically(path, Bytes(100'000));
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, handler);
  EXPECT_FALSE(written);

  // A directory that the user may not write to; root may, and takes another's part.
  std::filesystem::permissions(tree.root(), std::filesystem::perms(0555));
  const bool isRoot = geteuid() == 0;
  ASSERT_TRUE(!isRoot || seteuid(65534) == 0);
  EXPECT_FALSE(files.writeAtomically(path, toBytes("x")));
  ASSERT_TRUE(!isRoot || seteuid(0) == 0);
  std::filesystem::permissions(tree.root(), std::filesystem::perms(0755));

  EXPECT_EQ(contentOf(path), "old");
  EXPECT_EQ(namesIn(tree.root()), (std::vector<std::string>{"directory", "record"}));
}

// Saves over and over, each time a file of one letter, and tells the parent of the first.
[[noreturn]] void saveForEver(const std::string& path, int firstIsThere) {
  LinuxFiles files;
  for (std::uint8_t i = 0;; ++i) {
    const std::uint8_t letter = 'a' + i % 26;
    if (!files.writeAtomically(path, Bytes(50'000 + letter, letter))) _exit(1);
    if (i == 0 && write(firstIsThere, "", 1) != 1) _exit(2);
  }
}

bool isWhole(const Bytes& content) {
  return !content.empty() && content.size() == 50'000U + content.front() &&
         std::all_of(content.begin(), content.end(),
                     [&](std::uint8_t byte) { return byte == content.front(); });
}

TEST(LinuxFilesTest, AKilledWriterLeavesAWholeFileAndNoGrowingLitter) {
  const Tree tree;
  const std::string path = tree / "record";
  LinuxFiles reader;
  std::minstd_rand random(1);
  for (int round = 0; round < 40; ++round) {
    int channel[2];
    ASSERT_EQ(pipe(channel), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) saveForEver(path, channel[1]);
    close(channel[1]);
    char byte = 0;
    EXPECT_EQ(read(channel[0], &byte, 1), 1) << "the child could not save";
    close(channel[0]);
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 20'000);
    do {
      const auto content = reader.read(path);
      ASSERT_TRUE(content && isWhole(*content)) << "while it is saved, in round " << round;
    } while (std::chrono::steady_clock::now() < end);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    const auto content = reader.read(path);
    ASSERT_TRUE(content && isWhole(*content)) << "in round " << round;
    EXPECT_LE(namesIn(tree.root()).size(), 2U) << "the file and what the last one left";
  }
}

TEST(LinuxFilesTest, RemovesTheLitterOfDeadWritersOnly) {
  const Tree tree;
  tree.put(".zqm-0123456789abcdef.tmp", "of a killed writer");
  const Descriptor living(
      open(tree.put(".zqm-fedcba9876543210.tmp", "of a living one").c_str(), O_RDWR));
  ASSERT_EQ(flock(living.get(), LOCK_EX), 0);
  tree.put(".zqm-notes", "of somebody else");
  EXPECT_TRUE(LinuxFiles().writeAtomically(tree / "record", toBytes("x")));
  EXPECT_EQ(namesIn(tree.root()),
            (std::vector<std::string>{".zqm-fedcba9876543210.tmp", ".zqm-notes", "record"}));
}

TEST(LinuxFilesTest, ReadsRegularFilesWithinALimit) {
  const Tree tree;
  LinuxFiles files;
  ASSERT_EQ(mkfifo((tree / "fifo").c_str(), 0600), 0);
  const std::string huge = tree.put("huge", "");
  std::filesystem::resize_file(huge, (std::uintmax_t{64} << 20) + 1);
  std::filesystem::create_symlink(tree / "nowhere", tree / "dangling");

  EXPECT_EQ(files.read(tree / "fifo"), std::nullopt);
  EXPECT_EQ(files.read(huge), std::nullopt);
  EXPECT_EQ(files.read(tree.root()), std::nullopt);
  EXPECT_EQ(files.read(tree / "missing"), std::nullopt);
  EXPECT_FALSE(files.read("/proc/self/status").value_or(Bytes()).empty()) << "its size is 0";

  EXPECT_TRUE(files.opens(tree.root())) << "a directory opens";
  EXPECT_TRUE(files.opens(tree / "fifo")) << "without waiting for its other end";
  EXPECT_FALSE(files.opens(tree / "missing"));
  EXPECT_TRUE(files.exists(tree.root() + "/"));
  EXPECT_FALSE(files.exists(tree / "dangling"));
  EXPECT_FALSE(files.remove(tree.root()));
  EXPECT_TRUE(files.remove(huge));
  EXPECT_FALSE(files.remove(huge));
}

TEST(LinuxFilesTest, ARootStandsInFrontOfEveryPath) {
  const Tree tree;
  tree.put("bin/bash", "");
  LinuxFiles files([&] { return std::optional(tree.root()); });
  EXPECT_TRUE(files.exists("/bin/bash"));
  EXPECT_FALSE(files.exists(tree.root()));
  EXPECT_FALSE(files.writeAtomically("/private/note", {}));
  EXPECT_TRUE(files.writeAtomically("/note", {}));
  EXPECT_TRUE(std::filesystem::exists(tree / "note"));

  LinuxFiles nowhere([] { return std::optional<std::string>(); });
  EXPECT_FALSE(nowhere.exists("/"));
  EXPECT_FALSE(nowhere.opens("/"));
  EXPECT_FALSE(nowhere.remove(tree / "note"));
  EXPECT_FALSE(nowhere.writeAtomically(tree / "note", {}));
  EXPECT_EQ(nowhere.read(tree / "note"), std::nullopt);
}

TEST(LinuxDirectoriesTest, UserDataIsWhereTheEnvironmentSays) {
  {
    const Environment set{{"XDG_DATA_HOME", "/data"}, {"HOME", "/home/a"}};
    EXPECT_EQ(userDataDirectory(), "/data");
  }
  for (const char* notAbsolute : {"", "data"}) {
    const Environment set{{"XDG_DATA_HOME", notAbsolute}, {"HOME", "/home/a/"}};
    EXPECT_EQ(userDataDirectory(), "/home/a/.local/share");
  }
  const Environment none{{"XDG_DATA_HOME", std::nullopt}, {"HOME", std::nullopt}};
  const auto home = homeDirectory();
  EXPECT_TRUE(!home || home->starts_with('/')) << "of the user database";
}

TEST(LinuxDirectoriesTest, MakesContainersAndDocumentsForTheUserAlone) {
  const Tree tree;
  std::optional<std::string> bundle = "org.example.host";
  LinuxDirectories directories(tree / "share", [&] { return bundle; });
  const auto container = directories.groupContainer("group.example");
  ASSERT_EQ(container, tree / "share/group.example");
  EXPECT_EQ(permissionsOf(*container), 0700U);
  EXPECT_EQ(permissionsOf(tree / "share"), 0700U);
  EXPECT_EQ(directories.documents(), tree / "share/org.example.host/Documents");
  std::filesystem::remove_all(*container);
  EXPECT_EQ(directories.groupContainer("group.example"), container);
  EXPECT_TRUE(std::filesystem::is_directory(*container)) << "made again after it went";
}

TEST(LinuxDirectoriesTest, AnIdentifierThatNamesNoDirectoryOfItsOwnCountsAsMissing) {
  const Tree tree;
  std::optional<std::string> bundle;
  LinuxDirectories directories(tree / "share", [&] { return bundle; });
  for (const std::string& identifier :
       {std::string(), std::string("."), std::string(".."), std::string("../else"),
        std::string("a/b"), std::string("/etc"), std::string("a\0b", 3), std::string(300, 'x')}) {
    EXPECT_EQ(directories.groupContainer(identifier), std::nullopt) << identifier;
    bundle = identifier;
    EXPECT_EQ(directories.documents(), std::nullopt) << identifier;
  }
  bundle = std::nullopt;
  EXPECT_EQ(directories.documents(), std::nullopt);
  tree.put("share/taken", "a file");
  EXPECT_EQ(directories.groupContainer("taken"), std::nullopt);
  EXPECT_EQ(LinuxDirectories(std::nullopt, nullptr).groupContainer("group"), std::nullopt);
}

}  // namespace
}  // namespace zqm
