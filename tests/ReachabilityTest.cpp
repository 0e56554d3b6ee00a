// ZQMReachability: the reading of flag words and the life of the notifier.
#include "zqm/http/ZQMReachability.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "tests/support/FakePlatform.h"

namespace zqm {
namespace {

using namespace reachability;

class ReachabilityTest : public testing::Fixture {
 protected:
  const ZQMReachability::Pointer monitor = ZQMReachability::reachabilityForInternetConnection();
};

TEST_F(ReachabilityTest, ReadsTheFlagWord) {
  struct Case {
    std::uint32_t flags;
    bool reachable, wwan, wifi, onDemand, intervention;
    NetworkStatus status;
    const char* text;
  };
  constexpr std::uint32_t kEvery = 0x7003f;
  const Case cases[] = {
      {0, false, false, false, false, false, kNotReachable, "-- -------"},
      {kReachable, true, false, true, false, false, kReachableViaWiFi, "-R -------"},
      {kReachable | kIsWwan, true, true, false, false, false, kReachableViaWWAN, "WR -------"},
      {kIsWwan | kIsDirect, false, false, false, false, false, kNotReachable, "W- ------d"},
      {kReachable | kConnectionRequired, true, false, true, false, false, kReachableViaWiFi,
       "-R c------"},
      {kReachable | kTransientConnection, true, false, true, false, false, kReachableViaWiFi,
       "-R -t-----"},
      {kConnectionRequired | kConnectionOnTraffic, false, false, false, true, false, kNotReachable,
       "-- c--C---"},
      {kConnectionOnDemand | kInterventionRequired, false, false, false, false, false,
       kNotReachable, "-- --i-D--"},
      {kEvery, false, true, false, true, true, kNotReachable, "WR ctiCDld"},
  };
  for (const Case& expected : cases) {
    SCOPED_TRACE(expected.text);
    fakes.network->word = expected.flags;
    EXPECT_EQ(monitor->isReachable(), expected.reachable);
    EXPECT_EQ(monitor->isReachableViaWWAN(), expected.wwan);
    EXPECT_EQ(monitor->isReachableViaWiFi(), expected.wifi);
    EXPECT_EQ(monitor->isConnectionRequired(), (expected.flags & kConnectionRequired) != 0);
    EXPECT_EQ(monitor->isConnectionOnDemand(), expected.onDemand);
    EXPECT_EQ(monitor->isInterventionRequired(), expected.intervention);
    EXPECT_EQ(monitor->currentReachabilityStatus(), expected.status);
    EXPECT_EQ(monitor->currentReachabilityFlags(), expected.text);
  }
}

TEST_F(ReachabilityTest, CountsACellularPathAsUnreachableWhereThatIsNotWanted) {
  fakes.network->setCellular();
  monitor->setReachableOnWWAN(false);
  EXPECT_FALSE(monitor->isReachable());
  EXPECT_TRUE(monitor->isReachableViaWWAN());
  EXPECT_EQ(monitor->currentReachabilityStatus(), kNotReachable);
  fakes.network->setWifi();
  EXPECT_TRUE(monitor->isReachable());
  fakes.network->readable = false;
  EXPECT_FALSE(monitor->isReachable());
  EXPECT_EQ(monitor->reachabilityFlags(), 0U);
}

TEST_F(ReachabilityTest, NamesItsStatusInTheHostsLanguageAndDescribesItself) {
  fakes.packages->strings = {{"WiFi", "Rede sem fio"}};
  EXPECT_EQ(monitor->currentReachabilityString(), "Rede sem fio");
  fakes.network->setCellular();
  EXPECT_EQ(monitor->currentReachabilityString(), "Cellular");
  EXPECT_TRUE(monitor->description().starts_with("<ZQMReachability: 0x"));
  EXPECT_TRUE(monitor->description().ends_with(" (WR -------)>"));
  fakes.network->setOffline();
  EXPECT_EQ(monitor->currentReachabilityString(), "No Connection");
}

TEST_F(ReachabilityTest, WatchesTheTargetItWasMadeFor) {
  EXPECT_EQ(ZQMReachability::reachabilityWithHostname(""), nullptr);
  EXPECT_EQ(ZQMReachability::reachabilityWithHostName("backend.test")->reachabilityRef(),
            NetworkTarget(HostName{"backend.test"}));
  SocketAddress address;
  EXPECT_EQ(monitor->reachabilityRef(), NetworkTarget(address));
  address.bytes = {169, 254};
  EXPECT_EQ(ZQMReachability::reachabilityForLocalWiFi()->reachabilityRef(), NetworkTarget(address));
}

TEST_F(ReachabilityTest, CallsBackAndThenNotifiesOnTheMainThread) {
  std::vector<std::string> calls;
  monitor->setReachableBlock([&](const auto& sender) {
    EXPECT_EQ(sender, monitor);
    calls.emplace_back("reachable");
  });
  monitor->setUnreachableBlock([&](const auto&) { calls.emplace_back("unreachable"); });
  monitor->setReachabilityBlock(
      [&](const auto&, std::uint32_t flags) { calls.push_back(std::to_string(flags)); });
  const auto observer =
      fakes.mainThread->observe("kReachabilityChangedNotification", [&](const auto& sender) {
        EXPECT_EQ(sender, monitor);
        EXPECT_EQ(&Process::current(), process.get());
        calls.emplace_back("notified");
      });

  EXPECT_TRUE(monitor->startNotifier());
  EXPECT_TRUE(monitor->startNotifier());
  EXPECT_EQ(fakes.network->watches, 1);
  EXPECT_EQ(monitor->reachabilityObject(), monitor);
  fakes.network->change(kReachable);
  process->drain();
  fakes.network->change(0);
  process->drain();
  const std::vector<std::string> expected = {"reachable",   "2", "notified",
                                             "unreachable", "0", "notified"};
  EXPECT_EQ(calls, expected);

  monitor->stopNotifier();
  EXPECT_EQ(monitor->reachabilityObject(), nullptr);
  fakes.network->change(kReachable);
  process->drain();
  EXPECT_EQ(calls, expected);
  fakes.network->refusesWatch = true;
  EXPECT_FALSE(monitor->startNotifier());
  EXPECT_EQ(monitor->reachabilityObject(), nullptr);
}

TEST_F(ReachabilityTest, StopsFromItsOwnCallbackAfterTheLastOtherReferenceIsGone) {
  auto last = ZQMReachability::reachabilityWithHostname("backend.test");
  const std::weak_ptr<ZQMReachability> observed = last;
  last->setReachabilityBlock([](const auto& sender, std::uint32_t) { sender->stopNotifier(); });
  ASSERT_TRUE(last->startNotifier());
  last.reset();
  EXPECT_FALSE(observed.expired());
  fakes.network->change(0);
  process->drain();
  EXPECT_TRUE(observed.expired());
}

TEST_F(ReachabilityTest, EndsWithItsProcess) {
  auto abandoned = ZQMReachability::reachabilityWithHostname("backend.test");
  const std::weak_ptr<ZQMReachability> observed = abandoned;
  ASSERT_TRUE(abandoned->startNotifier());
  ASSERT_TRUE(monitor->startNotifier());
  abandoned.reset();
  relaunch();
  EXPECT_TRUE(observed.expired());
  EXPECT_EQ(monitor->reachabilityObject(), nullptr);
}

TEST_F(ReachabilityTest, MakesOneCallAtATimeWithTheProcessThatStartedIt) {
  int calls = 0;  // Unguarded on purpose: the thread sanitizer tells of calls side by side.
  monitor->setReachabilityBlock([&](const auto& sender, std::uint32_t) {
    EXPECT_EQ(&Process::current(), process.get());
    // A new run, whose changes another thread of the service may bring.
    if (++calls % 10 == 0) {
      sender->stopNotifier();
      sender->startNotifier();
    }
  });
  ASSERT_TRUE(monitor->startNotifier());
  std::vector<std::thread> service;
  for (int i = 0; i < 4; ++i) {
    service.emplace_back([this] {
      for (int j = 0; j < 100; ++j) fakes.network->change(kReachable);
    });
  }
  for (std::thread& thread : service) thread.join();
  process->drain();
  EXPECT_GT(calls, 0);
  EXPECT_LE(calls, 400);
}

TEST_F(ReachabilityTest, ReportsWhatACallbackThrowsAndGoesOn) {
  int notified = 0;
  const auto observer =
      fakes.mainThread->observe(kReachabilityChangedNotification, [&](const auto&) { ++notified; });
  monitor->setReachableBlock([](const auto&) { throw std::runtime_error("host"); });
  ASSERT_TRUE(monitor->startNotifier());
  fakes.network->change(kReachable);
  process->drain();
  EXPECT_EQ(notified, 1);
  EXPECT_EQ(fakes.http->requestsTo("graylog").size(), 1U);
}

}  // namespace
}  // namespace zqm
