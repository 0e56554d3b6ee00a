// OpenSslGate: real processes that exit while their threads are inside OpenSSL.
#include "zqm/crypto/openssl/OpenSslGate.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <latch>
#include <thread>

#include "tests/support/ChildProcess.h"
#include "tests/support/TestData.h"
#include "zqm/crypto/ZQMCryptography.h"

namespace zqm::testing {
namespace {

constexpr int kExitCode = 7;

// Registered before the gate's own handler, so it runs after it.
void expectToBeRefused() {
  if (OpenSslGate() || !ZQMCryptography::SHA256("text").empty()) std::_Exit(EXIT_FAILURE);
}

// Keeps threads inside OpenSSL until the process is gone, and returns once all have been there.
// Every second one does its work on threads that come and go.
void startBusyThreads() {
  static const auto& certificate = *new Bytes(readTestData("small.der"));
  static const auto& pkcs12 = *new Bytes(readTestData("small.p12"));
  static auto& started = *new std::latch(4);
  std::atexit(expectToBeRefused);
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

TEST(OpenSslGateTest, DISABLED_ExitsFromWithin) {
  startBusyThreads();
  const OpenSslGate outer;
  const OpenSslGate inner;
  std::exit(kExitCode);
}

TEST(OpenSslGateTest, AProcessEndsWithItsExitCodeWhileThreadsAreInside) {
  for (int run = 0; run < 20; ++run) {
    EXPECT_EQ(runInChild("OpenSslGateTest.DISABLED_Returns"), EXIT_SUCCESS);
    EXPECT_EQ(runInChild("OpenSslGateTest.DISABLED_ExitsFromWithin"), kExitCode);
  }
}

TEST(OpenSslGateTest, DISABLED_ForksWhileThreadsAreInside) {
  // Runs after the gate's handler, and keeps a leak checker from missing the other threads.
  std::atexit([] { std::_Exit(kExitCode); });
  std::latch inside(1);
  std::thread([&inside] {
    const OpenSslGate gate;
    inside.count_down();
    for (;;) pause();
  }).detach();
  inside.wait();
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
