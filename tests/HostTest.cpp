// What hosts, kit modules and backends do to the library: a module's start blocks or starts the
// library again; eight threads call everything; answers come that no backend should give.
#include <future>

#include "tests/support/Integrator.h"
#include "tests/support/Threads.h"
#include "zqm/config/ZQMConfigRule.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/core/ZQMCoreRule.h"
#include "zqm/device/ZQMDeviceBehavior.h"
#include "zqm/endpoints/ZQMEndPoint.h"
#include "zqm/queue/ZQMQueueRule.h"

namespace zqm::testing {
namespace {

class HostTest : public Fixture {
 protected:
  HostTest() { installKey(fakes); }
  using Fixture::answer;
  // A start is answered with 200 in any case.
  void answer(std::int32_t status, const std::string& body) {
    fakes.http->answer = [=](const HttpRequest& asked) {
      return FakeHttp::answered(asked.url.ends_with("/start/init") ? 200 : status, body);
    };
  }
  void start(std::function<void()> module) { ZQMCore::start(protectedText("app-7"), module); }
  static auto handlers() { return ZQMCoreRule::sharedInstance().startHandlers().handlers().size(); }
  static ZQMQueueRule& queue() { return ZQMQueueRule::sharedInstance(); }
  static void enqueue(int n) { queue().enqueue("q/" + std::to_string(n), {}, "", {}, false); }

  // All services' answers in one.
  const std::string healthy = R"({"euid":"e","endpoints":{"config":{"config":")" +
                              protectedText("table/config") + R"("}}})";
};

TEST_F(HostTest, WorkGoesOnWhileAModuleBlocks) {
  std::promise<void> gate;
  std::promise<std::size_t> delivering;
  fakes.http->answer = [&](const HttpRequest& request) {
    if (request.url == "q/2") delivering.set_value(queue().getQueue()->count());
    return FakeHttp::answered(200, healthy);
  };
  start([] {});
  process->drain();
  start([&] {
    start([] { ADD_FAILURE(); });
    for (int n = 0; n < 3; ++n) enqueue(n);
    queue().startQueue();
    gate.get_future().wait();
  });
  auto got = delivering.get_future();
  // The first item has left when the run comes to the third, to end on its range error.
  EXPECT_TRUE(got.wait_for(std::chrono::minutes(1)) == std::future_status::ready && got.get() == 2);
  gate.set_value();
  process->drain();
  EXPECT_EQ(handlers(), 0U);
  EXPECT_EQ(reports().size(), 1U);
}

TEST_F(HostTest, EightThreadsMayCallEverythingAtOnceAndNoQueuedRequestIsLost) {
  std::vector<std::atomic<bool>> known(400);
  const auto mark = [&](const Text& url) { known.at(std::stoul(url.text()->substr(2))) = true; };
  const auto host = [&](int first) {
    const Process::Scope bound(*process);
    for (int n = first; n < first + 50; ++n) {
      start([] {});
      for (int i = 0; n % 10 == 0 && i < 10; ++i) enqueue(n + i);
      ZQMConfigRule::sharedInstance().updateAndPersist({{"daysToSendDatabehavior", n}});
      EXPECT_GE(ZQMConfigRule::sharedInstance().getDaysToSendDatabehavior(), 0);
      ZQMDeviceBehavior::verifyUpdate();
      EXPECT_EQ(ZQMEndPoint::config(), "table/config");
      if (n % 10 == 0 && ZQMCore::isStarted()) ZQMCore::restart();
      // From here on, what has not been sent yet is held back.
      if (n % 50 == 25) fakes.network->setCellular();
      const auto items = queue().getQueue();
      if (n % 4 > 0 || items->count() == 0) continue;
      mark(items->data->at(items->count() - 1)->url);
      queue().removeData(items->data->at(items->count() - 1));
    }
  };
  answer(FakeHttp::answered(200, healthy));
  // A fact that the device does not tell makes each verification send the profile.
  fakes.systemInfo->subscriber = CellularSubscriber{};
  start([] {});
  process->drain();
  onThreads(8, [&](int thread) { host(50 * thread); });
  process->drain();
  EXPECT_EQ(handlers(), 0U);
  const List left = queue().getQueue()->dataToArray();
  for (const Value& item : left) mark((*item.dictionary())["url"]);
  for (const HttpRequest& sent : fakes.http->requestsTo("q/")) mark(sent.url);
  EXPECT_EQ(std::count(known.begin(), known.end(), true), 400);
  relaunch();
  EXPECT_EQ(queue().getQueue()->dataToArray(), left);
}

TEST_F(HostTest, HostileAnswersOfAllServicesLeaveTheNextLaunchHealthy) {
  constexpr std::int32_t statuses[] = {200, 400, 401, -1};
  const std::string bad = R"({"endpoints":{"config":{"config":null}},"daysToUpdateConfig":-0.5,)"
                          R"("hoursToCallStartDevicebehavior":2147483648,"euid":"e)";
  const std::string bodies[] = {bad + "\"}", bad + "\\u0000\"}", "\xff", std::string(99'999, '[')};
  for (int launch = 0; launch < 32; ++launch) {
    relaunch();
    fakes.clock->advance(std::chrono::hours(48));
    setInfo(*fakes.packages->main, "CFBundleShortVersionString", std::to_string(launch));
    const bool isHealthy = launch % 2 == 1;
    answer(isHealthy ? 200 : statuses[launch / 2 % 4], isHealthy ? healthy : bodies[launch / 8]);
    enqueue(0);
    start([] {});
    process->drain();
    if (!isHealthy) continue;
    EXPECT_TRUE(ZQMCore::isStarted()) << launch;
    EXPECT_EQ(ZQMConfigRule::sharedInstance().configModel().lastUpdateDate, fakes.clock->now());
    EXPECT_LE(queue().getQueue()->count(), 1U) << launch;
  }
}

}  // namespace
}  // namespace zqm::testing
