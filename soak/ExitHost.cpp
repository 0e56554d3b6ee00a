// The situations. Only what the shared library exports is used.
#include "soak/ExitHost.h"

#include <openssl/crypto.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <random>
#include <string>
#include <thread>

#include "tests/support/FakePlatform.h"
#include "zqm/config/ZQMConfigRule.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/crypto/ZQMCryptography.h"
#include "zqm/http/ZQMHttpRequest.h"
#include "zqm/platform/linux/LinuxPlatform.h"
#include "zqm/queue/ZQMQueueRule.h"
#include "zqm/queue/executor/ZQMExecutorOperation.h"

namespace zqm::soak {
namespace {

constexpr int kRequests = 8;
constexpr int kWorkItems = 1000;

// Away from Wi-Fi, where the pending items of this hour are held back.
void setPlatform(bool isCellular) {
  Platform platform = makeLinuxPlatform({.mainPackage = std::getenv(kExitPackage),
                                         .userDataDirectory = std::getenv(kExitData),
                                         .authoritiesFile = std::getenv(kExitAuthorities)});
  const auto network = std::make_shared<testing::FakeNetwork>();
  if (isCellular) network->setCellular();
  platform.network = network;
  Process::setDefaultPlatform([platform] { return platform; });
}

// Beside those of the start: of the configuration, the device and the queue.
void sendRequests() {
  for (int sent = 0; sent < kRequests; ++sent) {
    ZQMHttpRequest::dataTaskWithUrl(
        std::getenv(kExitUrl), "POST", Bytes(300, 'b'), [](const ZQMHttpResult&) {},
        [](const Error&) {});
  }
}

void queueWork() {
  for (int made = 0; made < kWorkItems; ++made) {
    ZQMExecutorOperation::sharedInstance().execute(
        ZQMBlockOperation::initWithModuleName("exit-host", [made] {
          ZQMQueueRule::sharedInstance().enqueue("http://127.0.0.1:9/", Bytes(300, 'b'), "POST",
                                                 std::nullopt, false);
          ZQMConfigRule::sharedInstance().updateAndPersist({{"daysToSendDatabehavior", made}});
        }));
  }
}

void enter(const std::string& situation) {
  setPlatform(situation == "pending");
  if (situation == "stalled") {
    ZQMQueueRule::sharedInstance().enqueue(std::getenv(kExitUrl), Bytes(300, 'b'), "POST",
                                           std::nullopt, false);
  }
  static auto& accepted = *new std::promise<void>();
  ZQMCore::start(std::getenv(kExitApplicationId), [] { accepted.set_value(); });
  accepted.get_future().wait();
  if (situation == "stalled") sendRequests();
  if (situation == "queued") queueWork();
}

void sleepAtRandom() {
  std::this_thread::sleep_for(std::chrono::microseconds(std::random_device()() % 5000));
}

void launch() {
  setPlatform(false);
  const auto called = std::chrono::steady_clock::now();
  ZQMCore::startWithAppId(std::getenv(kExitApplicationId), {});
  std::this_thread::sleep_until(called +
                                std::chrono::microseconds(std::atoi(std::getenv(kExitDelay))));
}

void enterSituation() {
  const std::string situation = std::getenv(kExitSituation);
  if (situation == "launching") return launch();
  if (situation == "digest") return std::thread([] { ZQMCryptography::SHA256("text"); }).join();
  if (situation != "idle") enter(situation);
  sleepAtRandom();
}

}  // namespace

void runExitHost() {
  enterSituation();
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  std::printf("\nending=%lld\n", static_cast<long long>(std::chrono::nanoseconds(now).count()));
  std::fflush(stdout);
  const std::string_view ending = std::getenv(kExitEnding);
  if (ending == "exit") std::exit(kExitCode);
  if (ending == "cleanup") OPENSSL_cleanup();
}

}  // namespace zqm::soak
