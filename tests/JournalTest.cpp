// The queue in real files and processes: kills, forks, lost descriptors, full disks.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <numeric>

#include "soak/QueueHost.h"
#include "soak/QueueStorm.h"
#include "soak/QueueWalk.h"
#include "tests/support/TemporaryDirectory.h"

namespace zqm::testing {
namespace {

namespace fs = std::filesystem;
using soak::Fault;
using soak::QueueHost;
using soak::QueueStorm;
using soak::QueueWalk;
using soak::Steps;
using Numbers = std::vector<int>;

class JournalTest : public ::testing::Test {
 protected:
  // It forks, so that no test before it may have used the library.
  void SetUp() override {
    if (::testing::UnitTest::GetInstance()->test_to_run_count() > 1) {
      GTEST_SKIP() << "It needs a process of its own, as ctest gives it.";
    }
  }

  // What the body answers in a forked child, a number of one byte; 255 and more for a failure.
  static int inChild(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 255 + WTERMSIG(status);
  }

  // The items that a process finds that comes now.
  Numbers left() const {
    QueueHost host(root);
    host.recover();
    Numbers numbers = host.numbers();
    std::ranges::sort(numbers);
    return numbers;
  }

  static Numbers upTo(int last) {
    Numbers numbers(static_cast<std::size_t>(last));
    std::iota(numbers.begin(), numbers.end(), 1);
    return numbers;
  }

  static void enqueue(QueueHost& host, const Numbers& numbers) {
    for (const int number : numbers) host.enqueue(number);
  }

  const TemporaryDirectory directory;
  const std::string root = directory.path();
  const std::string container = soak::containerIn(root);
  const std::string first = container + "/ZQMQueueModel.plist";
};

TEST_F(JournalTest, AKillBeforeAnyStepLosesNothingAndDoublesNothing) {
  QueueWalk walk(Fault::none);
  walk.walk("", {});
  for (const std::string& fault : walk.faults()) ADD_FAILURE() << fault;
  std::printf("%s", walk.summary().c_str());
}

TEST_F(JournalTest, AWalkFindsPlantedFaults) {
  const auto isFound = [](Fault fault, const char* scenario, QueueWalk::Depth depth) {
    QueueWalk walk(fault);
    depth.untilFault = true;
    walk.walk(scenario, depth);
    const auto faults = walk.faults();
    std::printf("%s%s\n", walk.summary().c_str(), faults.empty() ? "" : faults.front().c_str());
    return !faults.empty();
  };
  EXPECT_TRUE(isFound(Fault::noIds, "adoption of two", {}));
  EXPECT_TRUE(isFound(Fault::keptId, "a lost descriptor", {}));
  EXPECT_TRUE(isFound(Fault::lateLock, "create", {.withStops = true}));
}

TEST_F(JournalTest, TwoProcessesThatBeginAtOnceKeepAllTheirItems) {
  QueueStorm storm({.processes = 2, .items = 200, .kills = 0, .delivers = false});
  storm.run();
  for (const std::string& fault : storm.faults()) ADD_FAILURE() << fault;
  EXPECT_EQ(storm.pending(), 400U);
}

// A child that never calls the library must not hold its parent's files.
TEST_F(JournalTest, AForkedChildNeitherKeepsNorFreesItsParentsFile) {
  int ready[2];
  int leave[2];
  ASSERT_EQ(pipe(ready) + pipe(leave), 0);
  const pid_t parent = fork();
  if (parent == 0) {
    QueueHost host(root);
    enqueue(host, upTo(5));
    const pid_t child = fork();
    if (child == 0) {
      close(leave[1]);
      char none = 0;
      _exit(read(leave[0], &none, 1) == 0 ? 0 : 1);
    }
    if (write(ready[1], &child, sizeof child) != sizeof child) _exit(1);
    for (;;) pause();
  }
  pid_t child = 0;
  ASSERT_EQ(read(ready[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
  const auto count = [this] { return static_cast<int>(left().size()); };
  EXPECT_EQ(inChild(count), 0) << "the parent lives";
  kill(parent, SIGKILL);
  waitpid(parent, nullptr, 0);
  EXPECT_EQ(kill(child, 0), 0);
  EXPECT_EQ(inChild(count), 5) << "the child alone lives";
  close(leave[1]);
}

TEST_F(JournalTest, AForkedChildHasAQueueOfItsOwn) {
  {
    QueueHost host(root);
    enqueue(host, {1, 2});
    EXPECT_EQ(inChild([&] {
                host.enqueue(3);
                return host.numbers() == Numbers{3} ? 0 : 1;
              }),
              0);
    host.enqueue(4);
    EXPECT_EQ(host.numbers(), (Numbers{1, 2, 4}));
  }
  EXPECT_EQ(left(), upTo(4));
}

TEST_F(JournalTest, AHostThatClosesOrReusesDescriptorsKeepsItsItemsAndItsFiles) {
  for (const bool isReused : {false, true}) {
    fs::remove_all(container);
    const std::string path = directory.path() / "host";
    const int own = open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    {
      QueueHost host(root);
      enqueue(host, upTo(5));
      for (const int each : soak::descriptorsIn(container)) {
        isReused ? dup2(own, each) : close(each);
      }
      host.enqueue(6);
      EXPECT_EQ(host.numbers(), upTo(6));
    }
    EXPECT_EQ(fs::file_size(path), 0U);
    EXPECT_GE(fcntl(own, F_GETFD), 0);
    EXPECT_EQ(left(), upTo(6));
    close(own);
  }
}

TEST_F(JournalTest, ALostFileThatAnotherProcessAdoptedIsWrittenUnderAnotherName) {
  {
    auto owner = std::make_unique<QueueHost>(root);
    enqueue(*owner, upTo(5));
    const std::set<int> lost = soak::descriptorsIn(container);
    QueueHost other(root);
    other.enqueue(10);
    for (const int each : lost) close(each);
    other.recover();
    EXPECT_EQ(other.numbers(), (Numbers{10, 1, 2, 3, 4, 5}));
    owner->enqueue(6);
    owner.reset();
    other.recover();
  }
  Numbers numbers = left();
  EXPECT_EQ(std::ranges::count(numbers, 6), 1);
  EXPECT_EQ(std::ranges::count(numbers, 10), 1);
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  EXPECT_EQ(numbers, (Numbers{1, 2, 3, 4, 5, 6, 10}));
}

TEST_F(JournalTest, ADeletedFileWhoseNameAnotherTookIsWrittenUnderAnotherName) {
  {
    QueueHost one(root);
    enqueue(one, {1, 2});
    fs::remove_all(root + "/documents");
    fs::remove(first);
    QueueHost other(root);
    other.enqueue(3);
    one.enqueue(4);
    other.enqueue(5);
    EXPECT_EQ(one.numbers(), (Numbers{1, 2, 4}));
    EXPECT_EQ(other.numbers(), (Numbers{3, 5}));
  }
  EXPECT_EQ(left(), upTo(5));
}

TEST_F(JournalTest, WhatStandsInTheWayIsLeftAndReported) {
  fs::create_directories(first);
  ASSERT_EQ(mkfifo((container + "/ZQMQueueModel-1.plist").c_str(), 0600), 0);
  std::ofstream(root + "/elsewhere") << "of somebody else";
  fs::create_symlink(root + "/elsewhere", container + "/ZQMQueueModel-2.plist");
  {
    QueueHost host(root);
    host.enqueue(1);
    host.recover();
    host.recover();
    EXPECT_EQ(host.reports().size(), 3U);
  }
  EXPECT_EQ(left(), upTo(1));
  EXPECT_TRUE(fs::is_directory(first));
  EXPECT_TRUE(fs::is_fifo(container + "/ZQMQueueModel-1.plist"));
  EXPECT_TRUE(fs::is_symlink(container + "/ZQMQueueModel-2.plist"));
  EXPECT_EQ(fs::file_size(root + "/elsewhere"), 16U);
}

TEST_F(JournalTest, AnotherUsersFileIsLeftReportedAndTakenByThatUser) {
  const bool isRoot = geteuid() == 0;
  EXPECT_EQ(inChild([this] {
              QueueHost host(root);
              host.enqueue(1);
              return 0;
            }),
            0);
  for (const std::string& each : {root, container, root + "/documents"}) {
    fs::permissions(each, fs::perms::all);
  }
  if (!isRoot) fs::permissions(first, fs::perms::none);
  EXPECT_EQ(inChild([&] {
              constexpr uid_t kNobody = 65534;
              if (isRoot && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) return 1;
              QueueHost host(root);
              host.enqueue(2);
              host.recover();
              const auto reports = host.reports();
              const bool isTold =
                  reports.size() == 1 && reports[0].find("Permission denied") != std::string::npos;
              return isTold && host.numbers() == Numbers{2} ? 0 : 2;
            }),
            0);
  fs::permissions(first, fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(left(), upTo(2));
}

TEST_F(JournalTest, WithoutLocksOneProcessAfterTheOtherHasTheFirstName) {
  const auto withoutLocks = [] {
    auto steps = std::make_shared<Steps>();
    steps->hasLocks = false;
    return steps;
  };
  for (const int number : {1, 2, 3}) {
    QueueHost host(root, withoutLocks());
    EXPECT_EQ(host.numbers(), upTo(number - 1));
    host.recover();
    host.enqueue(number);
    EXPECT_EQ(host.numbers(), upTo(number));
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(container), fs::directory_iterator()), 1);
}

// Whole, or as much as fits behind what is there.
TEST_F(JournalTest, AFullDiskCostsNothingButTheTimeUntilThereIsRoom) {
  constexpr int kItems = 3500;
  fs::create_directories(container);
  const int end = inChild([this] {
    // Nobody else sees the file system, which vanishes with the child.
    const bool hasNamespace =
        unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0;
    if (!hasNamespace || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", container.c_str(), "tmpfs", 0, "size=2m") != 0) {
      return 100;
    }
    {
      QueueHost host(root);
      for (int number = 1; number <= 2500; ++number) host.enqueue(number, 300, false);
      std::ofstream filler(container + "/filler", std::ios::binary);
      while (filler << std::string(4096, 'x') << std::flush) {
      }
      for (int number = 2501; number <= kItems; ++number) host.enqueue(number, 300, false);
      if (fs::file_size(first) > 2'000'000 || host.numbers().size() != kItems) return 1;
      fs::resize_file(container + "/filler", fs::file_size(container + "/filler") - 600'000);
    }
    return left() == upTo(kItems) ? 0 : 2;
  });
  if (end == 100) GTEST_SKIP() << "no file system can be mounted here";
  EXPECT_EQ(end, 0);
}

}  // namespace
}  // namespace zqm::testing
