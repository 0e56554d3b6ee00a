// The public entry: handlers, kit modules, and calls from many threads.
#include "zqm/core/ZQMCore.h"

#include "tests/support/FakePlatform.h"
#include "tests/support/Integrator.h"
#include "zqm/core/ZQMCoreModule.h"
#include "zqm/core/ZQMCoreRule.h"

namespace zqm::testing {
namespace {

struct Kit : ZQMCoreModule {
  explicit Kit(std::string& order) : starts(order) {}
  void start() override { starts += "k"; }
  std::string& starts;
};

class CoreTest : public Fixture {
 protected:
  CoreTest() {
    installKey(fakes);
    fakes.http->answer = [this](const HttpRequest& request) {
      if (request.url.find("/start/") != std::string::npos) released.wait(false);
      return FakeHttp::answered(200, R"({"euid":"e-1"})");
    };
  }
  // A test that fails early must not leave its Process waiting for the backend.
  ~CoreTest() override { releaseAnswer(); }

  // The backend answers a start request only after this.
  void releaseAnswer() {
    released = true;
    released.notify_all();
  }

  const Text appId = protectedText("app-7");
  std::atomic<bool> released = false;
};

TEST_F(CoreTest, CallsWhileAStartIsPendingJoinItInOrder) {
  std::string order;
  ZQMCore::start(appId, [&] { order += "a"; });
  ZQMCore::start(appId, [&] { order += "b"; });
  const auto kit = std::make_shared<Kit>(order);
  ZQMCore::startWithAppId(appId, {kit, nullptr, kit});
  ZQMCore::start(appId, nullptr);
  EXPECT_EQ(order, "");
  releaseAnswer();
  process->drain();
  EXPECT_EQ(order, "abkk");
  EXPECT_EQ(fakes.http->requestsTo("/start/").size(), 1U);
}

TEST_F(CoreTest, CallsWithoutAHandlerNeverOccupyTheList) {
  fakes.identity->advertising = "";
  ZQMCore::start(appId, nullptr);
  process->drain();
  fakes.identity->advertising = "A";
  releaseAnswer();
  bool ran = false;
  ZQMCore::start(appId, nullptr);
  ZQMCore::start(appId, [&] { ran = true; });
  process->drain();
  EXPECT_TRUE(ran);
}

TEST_F(CoreTest, KitModuleThatDoesNotOverrideStartIsReported) {
  releaseAnswer();
  ZQMCore::startWithAppId(appId, {std::make_shared<ZQMCoreModule>()});
  ASSERT_EQ(reports().size(), 1U);
  EXPECT_EQ(reports()[0]["message"], Value("You must override start in a subclass"));
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

}  // namespace
}  // namespace zqm::testing
