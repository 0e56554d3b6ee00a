// OpenSslGate: real processes that exit while their threads are inside OpenSSL.
#include "zqm/platform/OpenSslGate.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <future>
#include <latch>
#include <thread>

#include "tests/support/ChildProcess.h"
#include "tests/support/TestData.h"
#include "zqm/crypto/ZQMCryptography.h"

namespace zqm::testing {
namespace {

constexpr int kRuns = 20;
constexpr int kExitCode = 7;

// Keeps threads inside OpenSSL until the process is gone, and returns once all have been there.
// Every second one does its work on threads that come and go.
void startBusyThreads() {
  static const auto& certificate = *new Bytes(readTestData("small.der"));
  static const auto& pkcs12 = *new Bytes(readTestData("small.p12"));
  static auto& started = *new std::latch(4);
  const auto use = [] {
    ZQMCryptography cryptography;
    cryptography.loadPublicKeyFromData(certificate);
    cryptography.loadPrivateKeyFromData(pkcs12, kSmallPassword);
    const auto encrypted = cryptography.rsaEncryptString(ZQMCryptography::SHA256("text"));
    if (!cryptography.rsaDecryptString(encrypted.value())) std::abort();
  };
  for (int i = 0; i < 4; ++i) {
    std::thread([use, shortLived = i % 2 == 1] {
      use();
      started.count_down();
      for (;;) shortLived ? std::thread(use).join() : use();
    }).detach();
  }
  started.wait();
}

TEST(OpenSslGateTest, DISABLED_Returns) { startBusyThreads(); }

TEST(OpenSslGateTest, DISABLED_Exits) {
  startBusyThreads();
  std::exit(kExitCode);
}

TEST(OpenSslGateTest, DISABLED_ExitsFromWithin) {
  startBusyThreads();
  const OpenSslGate outer;
  const OpenSslGate inner;
  std::exit(kExitCode);
}

TEST(OpenSslGateTest, AProcessEndsWithItsExitCodeWhileThreadsAreInside) {
  for (int run = 0; run < kRuns; ++run) {
    EXPECT_EQ(runInChild("OpenSslGateTest.DISABLED_Returns"), EXIT_SUCCESS);
    EXPECT_EQ(runInChild("OpenSslGateTest.DISABLED_Exits"), kExitCode);
    EXPECT_EQ(runInChild("OpenSslGateTest.DISABLED_ExitsFromWithin"), kExitCode);
  }
}

std::promise<void> gateIsClosed;
std::promise<void> cameThrough;

// Registered before the gate's own handler, so it runs after it.
void afterTheClosing() {
  gateIsClosed.set_value();
  const bool blocked = cameThrough.get_future().wait_for(std::chrono::milliseconds(100)) ==
                       std::future_status::timeout;
  const bool refused = !OpenSslGate() && ZQMCryptography::SHA256("text").empty();
  if (!blocked || !refused) std::_Exit(EXIT_FAILURE);
}

TEST(OpenSslGateTest, DISABLED_ExitsWithAThreadAtTheClosedGate) {
  std::atexit(afterTheClosing);
  std::thread([] {
    gateIsClosed.get_future().wait();
    const OpenSslGate gate;
    cameThrough.set_value();
  }).detach();
  startBusyThreads();
  std::exit(kExitCode);
}

TEST(OpenSslGateTest, AfterTheClosingAThreadBlocksAndTheExitingOneIsRefused) {
  for (int run = 0; run < kRuns; ++run) {
    EXPECT_EQ(runInChild("OpenSslGateTest.DISABLED_ExitsWithAThreadAtTheClosedGate"), kExitCode);
  }
}

TEST(OpenSslGateTest, DISABLED_ForksWhileThreadsAreInside) {
  // Runs after the gate's handler, and keeps a leak checker from missing the other threads.
  std::atexit([] { std::_Exit(kExitCode); });
  std::promise<void> inside;
  std::thread([&inside] {
    const OpenSslGate gate;
    inside.set_value();
    for (;;) pause();
  }).detach();
  inside.get_future().wait();
  const pid_t child = fork();
  if (child == 0) {
    alarm(10);
    std::exit(EXIT_FAILURE);
  }
  int status = 0;
  waitpid(child, &status, 0);
  std::_Exit(WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE);
}

TEST(OpenSslGateTest, AForkedChildDoesNotWaitForThreadsThatItHasNot) {
  EXPECT_EQ(runInChild("OpenSslGateTest.DISABLED_ForksWhileThreadsAreInside"), kExitCode);
}

}  // namespace
}  // namespace zqm::testing
