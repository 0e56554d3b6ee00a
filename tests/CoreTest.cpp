// The public entry: handlers, kit modules, and calls from many threads.
#include "zqm/core/ZQMCore.h"

#include <future>
#include <thread>
#include <utility>

#include "tests/support/FakePlatform.h"
#include "tests/support/Integrator.h"
#include "zqm/core/ZQMCoreModule.h"
#include "zqm/core/ZQMCoreRule.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/util/Json.h"

namespace zqm {
namespace {

using zqm::testing::FakeHttp;
using zqm::testing::installKey;
using zqm::testing::protectedText;

struct Kit : ZQMCoreModule {
  explicit Kit(std::function<void()> started) : onStart(std::move(started)) {}
  void start() override { onStart(); }
  std::function<void()> onStart;
};

class CoreTest : public zqm::testing::Fixture {
 protected:
  CoreTest() {
    installKey(fakes);
    fakes.http->answer = [this](const HttpRequest& request) {
      if (request.url.find("/start/") != std::string::npos) released.wait();
      return FakeHttp::answered(200, R"({"euid":"e-1"})");
    };
  }
  // A test that fails early must not leave its Process waiting for the backend.
  ~CoreTest() override { releaseAnswer(); }

  // The backend answers a start request only after this.
  void releaseAnswer() {
    if (!std::exchange(answerReleased, true)) release.set_value();
  }

  const Text appId = protectedText("app-7");
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();
  bool answerReleased = false;
};

TEST_F(CoreTest, CallsWhileAStartIsPendingJoinItInOrder) {
  std::string order;
  ZQMCore::start(appId, [&] { order += "a"; });
  ZQMCore::start(appId, [&] { order += "b"; });
  ZQMCore::startWithAppId(appId, {std::make_shared<Kit>([&] { order += "c"; }), nullptr,
                                  std::make_shared<Kit>([&] { order += "d"; })});
  ZQMCore::start(appId, nullptr);
  EXPECT_EQ(order, "");
  releaseAnswer();
  process->drain();
  EXPECT_EQ(order, "abcd");
  EXPECT_EQ(fakes.http->requestsTo("/start/").size(), 1U);
}

TEST_F(CoreTest, CallsWithoutAHandlerNeverOccupyTheList) {
  releaseAnswer();
  fakes.identity->advertising = "";
  ZQMCore::start(appId, nullptr);
  process->drain();
  EXPECT_TRUE(ZQMCoreRule::sharedInstance().startHandlers().handlers().empty());
  fakes.identity->advertising = "A";
  ZQMCore::start(appId, nullptr);
  bool ran = false;
  ZQMCore::start(appId, [&] { ran = true; });
  process->drain();
  EXPECT_TRUE(ran);
}

TEST_F(CoreTest, KitModuleThatDoesNotOverrideStartIsReported) {
  releaseAnswer();
  ZQMCore::startWithAppId(appId, {std::make_shared<ZQMCoreModule>()});
  process->drain();
  const auto reports = fakes.http->requestsTo("graylog");
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_NE(asText(reports[0].body.value()).find("You must override start in a subclass"),
            std::string::npos);
}

TEST_F(CoreTest, HandlerThatStartsAgainFindsTheStartStillPending) {
  releaseAnswer();
  bool inner = false;
  ZQMCore::start(appId, [&] { ZQMCore::start(appId, [&] { inner = true; }); });
  process->drain();
  // It joined the attempt that was just ending, and the end emptied the list.
  EXPECT_FALSE(inner);
  EXPECT_TRUE(ZQMCoreRule::sharedInstance().startHandlers().handlers().empty());
}

TEST_F(CoreTest, EightHostThreadsMayCallEverythingAtOnce) {
  releaseAnswer();
  std::vector<std::thread> hosts;
  std::atomic<int> ran = 0;
  for (int i = 0; i < 8; ++i) {
    hosts.emplace_back([&] {
      const Process::Scope bound(*process);
      for (int n = 0; n < 10; ++n) {
        ZQMCore::start(appId, [&] { ++ran; });
        ZQMCore::setDebugMode(n % 2 == 0);
        ZQMCore::isStarted();
        ZQMCore::getIOSAdvertisingId();
        if (n == 5) ZQMCore::restart();
      }
    });
  }
  for (std::thread& host : hosts) host.join();
  process->drain();
  EXPECT_GT(ran, 0);
  EXPECT_EQ(ZQMCore::getIOSAdvertisingId(), fakes.identity->advertising);
}

TEST_F(CoreTest, DebugModeIsOffAtEachLaunch) {
  EXPECT_FALSE(ZQMCore::isInDebugMode());
  ZQMCore::setDebugMode(true);
  EXPECT_TRUE(ZQMCore::isInDebugMode());
  relaunch();
  EXPECT_FALSE(ZQMCore::isInDebugMode());
}

}  // namespace
}  // namespace zqm
