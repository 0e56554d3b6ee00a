// Every exchange of a launch over a real transport that fails in every way a server can misbehave:
// what is stored and kept, and that the next launch with a healthy backend is healthy.
#include <gtest/gtest.h>

#include "tests/support/Integrator.h"
#include "tests/support/TestAuthority.h"
#include "tools/zqm/Backend.h"
#include "tools/zqm/Sandbox.h"
#include "zqm/config/ZQMConfigModel.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/core/user/ZQMUserModel.h"
#include "zqm/device/ZQMDeviceModel.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/platform/curl/CurlHttp.h"
#include "zqm/queue/ZQMQueueRule.h"

namespace zqm::testing {
namespace {

using namespace std::chrono_literals;
using tools::Misbehaviour;
using tools::ServerReply;

struct Fault {
  const char* name;
  ServerReply reply;
  // Ended by the transport's limit of time.
  bool takesForEver = false;
};

const std::string body(100, 'x');

class HttpFaultTest : public ::testing::TestWithParam<Fault> {
 protected:
  HttpFaultTest() {
    installKey(fakes);
    setInfo(fakes.packages->loaded.front(), "Environments",
            tools::sandboxEnvironments(backend.url(), integrator().password));
    fakes.files->put("/app/ZQMCore.bundle/Devices.plist", toBytes("<plist><dict/></plist>"));
  }

  void misbehave(const std::vector<std::string>& services) {
    isHealthy = false;
    ServerReply reply = GetParam().reply;
    if (reply.status == 308) reply.headers = {{"Location", untrusted.url("/")}};
    for (const std::string& service : services) backend.answerWith(service, reply);
    failing = services;
  }
  void behave() {
    isHealthy = true;
    for (const std::string& service : failing) backend.answerWith(service, std::nullopt);
  }

  // Two days later; answers how often the kit module was started.
  int launch(const std::function<void()>& check) {
    fakes.clock->advance(48h);
    const bool isShort = !isHealthy && GetParam().takesForEver;
    Platform platform = fakes.platform();
    platform.http = std::make_shared<CurlHttp>(
        CurlHttpOptions{.exchangeLimit = isShort ? 300ms : 60s, .bodyLimit = 1u << 20});
    Process process(platform);
    const Process::Scope scope(process);
    int starts = 0;
    ZQMCore::start(appId, [&] { ++starts; });
    process.drain();
    check();
    return starts;
  }

  template <class R>
  static R stored() {
    return ZQMDatabase::readRecord<R>().value();
  }
  static std::size_t pending() { return ZQMQueueRule::sharedInstance().getQueue()->count(); }

  Fakes fakes;
  tools::Backend backend{integrator().certificate};
  TestAuthority authority;
  const tools::HttpServer untrusted{[](const auto&) { return ServerReply(); },
                                    authority.issue("IP:127.0.0.1")};
  const std::string appId = protectedText("app-7");
  std::vector<std::string> failing;
  bool isHealthy = true;
};

TEST_P(HttpFaultTest, LeavesEachExchangeWithItsOutcomeAndTheNextLaunchHealthy) {
  // A start that failed is an attempt: it is recorded, and nothing follows.
  misbehave({"start"});
  EXPECT_EQ(launch([&] {
              EXPECT_FALSE(ZQMCore::isStarted());
              EXPECT_EQ(stored<ZQMUserModel>().startedDate, fakes.clock->now());
              EXPECT_TRUE(backend.requests("config/config").empty());
              const std::string address = backend.url() + "queue/1";
              ZQMQueueRule::sharedInstance().enqueue(address, toBytes("item"), "POST", kNow, false);
            }),
            0);
  behave();
  misbehave({"config/config", "device/initialize", "queue"});
  EXPECT_EQ(launch([&] {
              // The attempt counts as an update, so that the backend is left in peace.
              EXPECT_EQ(stored<ZQMConfigModel>().lastUpdateDate, fakes.clock->now());
              EXPECT_FALSE(stored<ZQMDeviceModel>().isStarted);
              EXPECT_TRUE(backend.requests("device/behavior").empty());
              EXPECT_EQ(pending(), 1U);
            }),
            1);
  behave();
  misbehave({"device/behavior", "graylog/gelf"});
  launch([&] {
    EXPECT_TRUE(stored<ZQMDeviceModel>().isStarted);
    EXPECT_TRUE(stored<ZQMDeviceModel>().updated);
    EXPECT_EQ(pending(), 0U);
  });
  behave();
  launch([&] {
    EXPECT_TRUE(ZQMCore::isStarted());
    EXPECT_EQ(stored<ZQMConfigModel>().daysToUpdateConfig, 2);
    EXPECT_FALSE(stored<ZQMDeviceModel>().updated);
  });
}

INSTANTIATE_TEST_SUITE_P(
    Servers, HttpFaultTest,
    ::testing::Values(
        Fault{"Close", {.misbehaviour = Misbehaviour::closeBeforeReply}},
        Fault{"ResetBefore", {.misbehaviour = Misbehaviour::resetBeforeReply}},
        Fault{"ResetWithin", {.body = body, .misbehaviour = Misbehaviour::resetWithinReply}},
        // The client may have read it all by then, or nothing.
        Fault{"ResetAfter",
              {.status = 500, .body = body, .misbehaviour = Misbehaviour::resetAfterReply}},
        Fault{"Stall", {.misbehaviour = Misbehaviour::stall}, true},
        Fault{"StallWithin", {.body = body, .misbehaviour = Misbehaviour::stallWithinReply}, true},
        Fault{"Drip", {.body = body, .misbehaviour = Misbehaviour::slowDrip, .delay = 20ms}, true},
        Fault{"Garbage", {.misbehaviour = Misbehaviour::garbage}},
        Fault{"TooLong", {.body = body, .misbehaviour = Misbehaviour::tooLong}},
        Fault{"BadChunking", {.body = body, .misbehaviour = Misbehaviour::badChunking}},
        Fault{"HugeHeader", {.misbehaviour = Misbehaviour::hugeHeader}},
        Fault{"Endless", {.body = body, .misbehaviour = Misbehaviour::endless}},
        Fault{"RedirectLoop", {.status = 307, .headers = {{"Location", "?again"}}}},
        // By a redirect to a server that has one.
        Fault{"BadCertificate", {.status = 308}}),
    [](const auto& each) { return std::string(each.param.name); });

}  // namespace
}  // namespace zqm::testing
