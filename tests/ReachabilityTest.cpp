// ZQMReachability: the reading of flag words and the life of the notifier.
#include "zqm/http/ZQMReachability.h"

#include <gtest/gtest.h>

#include <tuple>

#include "tests/support/FakePlatform.h"
#include "tests/support/Threads.h"

namespace zqm {
namespace {

using namespace reachability;

class ReachabilityTest : public testing::Fixture {
 protected:
  const ZQMReachability::Pointer monitor = ZQMReachability::reachabilityForInternetConnection();
};

TEST_F(ReachabilityTest, ReadsTheFlagWord) {
  using Case = std::tuple<std::uint32_t, const char*, const char*>;
  for (const auto& [flags, expected, text] : std::vector<Case>{
           {0, "", "-- -------"},
           {kReachable, "reachable wifi ", "-R -------"},
           {kReachable | kIsWwan, "reachable wwan ", "WR -------"},
           {kReachable | kConnectionRequired, "reachable wifi required ", "-R c------"},
           {kReachable | kTransientConnection, "reachable wifi ", "-R -t-----"},
           {kConnectionRequired | kConnectionOnTraffic, "required demand ", "-- c--C---"},
           {kConnectionOnDemand | kInterventionRequired, "", "-- --i-D--"},
           {0x7003f, "wwan required demand intervention ", "WR ctiCDld"},
       }) {
    fakes.network->word = flags;
    std::string answers;
    if (monitor->isReachable()) answers += "reachable ";
    if (monitor->isReachableViaWWAN()) answers += "wwan ";
    if (monitor->isReachableViaWiFi()) answers += "wifi ";
    if (monitor->isConnectionRequired()) answers += "required ";
    if (monitor->isConnectionOnDemand()) answers += "demand ";
    if (monitor->isInterventionRequired()) answers += "intervention ";
    EXPECT_EQ(answers, expected);
    EXPECT_EQ(monitor->currentReachabilityFlags(), text);
  }
}

TEST_F(ReachabilityTest, NamesItsStatusInTheHostsLanguage) {
  fakes.packages->strings = {{"WiFi", "Rede sem fio"}};
  EXPECT_EQ(monitor->currentReachabilityString(), "Rede sem fio");
  fakes.network->setCellular();
  EXPECT_EQ(monitor->currentReachabilityString(), "Cellular");
  EXPECT_TRUE(monitor->description().ends_with(" (WR -------)>"));
  monitor->setReachableOnWWAN(false);
  EXPECT_EQ(monitor->currentReachabilityString(), "No Connection");
  EXPECT_TRUE(monitor->isReachableViaWWAN());
  fakes.network->readable = false;
  EXPECT_EQ(monitor->reachabilityFlags(), 0U);
}

TEST_F(ReachabilityTest, CallsBackAndThenNotifiesOnTheMainThread) {
  std::string calls;
  monitor->setReachableBlock([&](const auto&) {
    calls += "reachable ";
    throw std::runtime_error("of the host");
  });
  monitor->setUnreachableBlock([&](const auto&) { calls += "unreachable "; });
  monitor->setReachabilityBlock(
      [&](const auto&, std::uint32_t flags) { calls += std::to_string(flags) + " "; });
  const auto observer =
      fakes.mainThread->observe("kReachabilityChangedNotification", [&](const auto& sender) {
        EXPECT_EQ(sender, monitor);
        calls += "notified ";
      });
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(monitor->startNotifier());
  EXPECT_EQ(fakes.network->watches, 1);
  for (const std::uint32_t flags : {kReachable, 0U}) {
    fakes.network->change(flags);
    process->drain();
  }
  EXPECT_EQ(reports().size(), 1U) << "what a callback threw";

  monitor->stopNotifier();
  fakes.network->change(kReachable);
  process->drain();
  EXPECT_EQ(calls, "reachable 2 notified unreachable 0 notified ");
  fakes.network->refusesWatch = true;
  EXPECT_FALSE(monitor->startNotifier());
}

TEST_F(ReachabilityTest, LivesUntilItStopsInItsOwnCallbackOrItsProcessEnds) {
  const auto start = [] {
    const auto started = ZQMReachability::reachabilityWithHostname("backend.test");
    started->setReachabilityBlock(
        [](const auto& sender, std::uint32_t) { sender->stopNotifier(); });
    EXPECT_TRUE(started->startNotifier());
    return std::weak_ptr(started);
  };
  const auto stopped = start();
  EXPECT_FALSE(stopped.expired());
  fakes.network->change(0);
  process->drain();
  EXPECT_TRUE(stopped.expired());
  const auto abandoned = start();
  relaunch();
  EXPECT_TRUE(abandoned.expired());
}

TEST_F(ReachabilityTest, MakesOneCallAtATimeWithTheProcessThatStartedIt) {
  int calls = 0;  // Unguarded on purpose: the thread sanitizer tells of calls side by side.
  monitor->setReachabilityBlock([&](const auto& sender, std::uint32_t) {
    EXPECT_EQ(&Process::current(), process);
    // A new run, whose changes another thread of the service may bring.
    if (++calls % 10 == 0) {
      sender->stopNotifier();
      sender->startNotifier();
    }
  });
  ASSERT_TRUE(monitor->startNotifier());
  testing::onThreads(4, [this](int) {
    for (int n = 0; n < 100; ++n) fakes.network->change(kReachable);
  });
  process->drain();
  EXPECT_GT(calls, 0);
  EXPECT_LE(calls, 400);
}

}  // namespace
}  // namespace zqm
