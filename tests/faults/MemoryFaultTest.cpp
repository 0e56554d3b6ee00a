// Requests for memory that fail, one by one and from some moment on.
#include <cerrno>
#include <future>

#include "tests/faults/Installation.h"
#include "tools/zqm/HttpServer.h"
#include "zqm/platform/curl/CurlHttp.h"

namespace zqm::testing {
namespace {

// What the host needs for the call is there already.
auto enqueueing(const std::string& name) {
  return [url = Text(name), body = std::optional(Bytes(300, 'x'))]() mutable {
    queueRule().enqueue(url, std::move(body), url, kNow, false);
  };
}

#if defined(__SANITIZE_THREAD__)
// It takes minutes, and looks for races, not for what is lost.
constexpr std::int64_t kStep = 5;
#else
constexpr std::int64_t kStep = 1;
#endif

class MemoryFaultTest : public ::testing::TestWithParam<bool> {
 protected:
  // Whether the work meets a fault at the n-th request, once or from it on.
  template <class Work>
  static bool failsAt(std::int64_t n, Work work) {
    const MemoryFault fault({n, GetParam()});
    work();
    MemoryFault::end();
    return fault.hasHappened();
  }

  // The end of a launch brings to the files what is pending; what it could not read stays there.
  template <class Work>
  Names launch(const Work& work, const Names& unread = {}) {
    Names left;
    {
      const Launch launched(installed.platform());
      work();
      EXPECT_TRUE(isBalanced());
      left = pendingNames();
      if (queueRule().counts().loaded == 0) left.insert(left.end(), unread.begin(), unread.end());
    }
    EXPECT_TRUE(installed.storedNames() == left ||
                (!unread.empty() && sorted(installed.storedNames()) == sorted(left)));
    return sorted(left);
  }

  Installation installed;
};

TEST_P(MemoryFaultTest, ChangeOfTheQueueIsMadeOrNotAndStoredLater) {
  launch([] { enqueue("first"); });
  forEachRequest([&](std::int64_t n) {
    bool happened = false;
    launch([&] {
      // Its removal makes the file worth a compaction.
      enqueue("big", 40'000, true);
      const Names before = pendingNames();
      const auto big = queueRule().getQueue()->data->at(0);
      happened = failsAt(n, [&] { queueRule().removeData(big); });
      const Names between = pendingNames();
      EXPECT_TRUE(between == before || between == Names(before.begin() + 1, before.end()));
      happened = failsAt(n, enqueueing("new")) || happened;
      Names after = between;
      after.push_back("new");
      EXPECT_TRUE(pendingNames() == between || pendingNames() == after);
    });
    // What came of it is what the next launch begins with.
    launch([] {
      while (queueRule().getQueue()->count() > 1) removeFirst();
      enqueue("last");
    });
    return happened;
  });
}

TEST_P(MemoryFaultTest, ItemsThatAreAdoptedAreThereOnceOrStayInTheirFile) {
  launch([] {
    enqueue("stored");
    enqueue("prior", 300, true);
  });
  forEachRequest(
      [&](std::int64_t n) {
        bool happened = false;
        const Names left = launch(
            [&] {
              {
                const FileFault unreadable({1, true}, EACCES);
                queueRule();
              }
              happened = failsAt(n, enqueueing("new"));
              // With a file of its own it adopts, without one it takes over.
              if (n % 2 == 0) enqueue("own");
              happened = failsAt(n, [] { queueRule().adoptQueues(); }) || happened;
            },
            {"prior", "stored"});
        launch([&] {
          queueRule().adoptQueues();
          EXPECT_EQ(sorted(pendingNames()), left);
          EXPECT_EQ(installed.queueFiles().size(), 1U);
          const auto queue = queueRule().getQueue();
          for (const auto& item : *queue->data) {
            const std::string& name = *item->url.text();
            if (name == "new" || name == "own") queueRule().removeData(item);
          }
        });
        return happened;
      },
      kStep);
}

TEST_P(MemoryFaultTest, LaunchReadsAllOfTheQueueOrLeavesItInItsFile) {
  const Names all = {"one", "two", "three"};
  launch([&] {
    for (const std::string& name : all) enqueue(name);
  });
  forEachRequest([&](std::int64_t n) {
    bool happened = false;
    launch(
        [&] {
          happened = failsAt(n, [] {
            try {
              queueRule();
            } catch (const std::bad_alloc&) {
              // The next use makes it.
            }
          });
          EXPECT_TRUE(pendingNames() == all || pendingNames().empty());
          enqueue("last");
          removeLast();
        },
        all);
    EXPECT_EQ(installed.storedNames(), all);
    // A launch that could not read has left a file of its own.
    launch([] { queueRule().adoptQueues(); });
    return happened;
  });
}

TEST_P(MemoryFaultTest, FirstItemOfAnInstallationIsThereOnceOrNotAtAll) {
  forEachRequest([&](std::int64_t n) {
    bool happened = false;
    for (const std::string& directory : {installed.container, installed.documents}) {
      std::filesystem::remove(firstQueueFile(directory));
    }
    launch([&] {
      queueRule();
      happened = failsAt(n, enqueueing("new"));
      EXPECT_TRUE(pendingNames().empty() || pendingNames() == Names{"new"});
      if (n % 2 == 0) enqueue("last");
    });
    EXPECT_LE(installed.queueFiles().size(), 1U);
    return happened;
  });
}

INSTANTIATE_TEST_SUITE_P(Requests, MemoryFaultTest, ::testing::Bool(), [](const auto& each) {
  return std::string(each.param ? "AllFromThenOn" : "OneByOne");
});

// The many requests of a start are shared out among four tests.
class StartMemoryTest : public ::testing::TestWithParam<int> {
 protected:
  // A launch in which all is due. Whether it met the fault.
  bool launch(Fault fault, const std::function<void()>& check) {
    installed.fakes.clock->advance(std::chrono::hours(48));
    Launch launched(installed.platform());
    const MemoryFault failing(fault);
    ZQMCore::startWithAppId(appId, {});
    launched.process.drain();
    MemoryFault::end();
    EXPECT_TRUE(isBalanced());
    check();
    return failing.hasHappened();
  }

  Installation installed;
  const Text appId{installed.appId};
};

TEST_P(StartMemoryTest, StartHarmsNeitherTheHostNorTheNextLaunch) {
  constexpr int kTests = 4;
  // The backend takes none of them.
  const Names kept = {"q/1", "q/3", "q/5"};
  {
    const Launch launched(installed.platform());
    for (const std::string& name : kept) enqueue(name, 300, name == "q/5");
  }
  bool happened = true;
  for (int round = 0; happened; ++round) {
    const std::int64_t n = 1 + GetParam() + kTests * round;
    SCOPED_TRACE(n);
    happened = launch({n, round % 8 == 7}, [] {});
    EXPECT_EQ(sorted(installed.storedNames()), kept);
    if (happened && round % 8 < 7) continue;
    launch({}, [&] {
      EXPECT_TRUE(ZQMCore::isStarted());
      EXPECT_EQ(sorted(pendingNames()), kept);
      EXPECT_EQ(installed.storedNames(), pendingNames());
    });
    ASSERT_FALSE(HasFailure());
  }
}

INSTANTIATE_TEST_SUITE_P(Shares, StartMemoryTest, ::testing::Range(0, 4));

// The sender's thread, that of the input and output, and those of the completions.
TEST(TransportMemoryTest, FailsTheExchangeAndGoesOnServing) {
  const tools::HttpServer server(
      [](const tools::ServerRequest&) { return tools::ServerReply{.body = "fine"}; });
  CurlHttp http({});
  pthread_setname_np(pthread_self(), "sender");
  for (const char* thread : {"sender", "zqm-http", "zqm-completion"}) {
    forEachRequest([&](std::int64_t n) {
      auto promise = std::make_shared<std::promise<bool>>();
      auto answered = promise->get_future();
      HttpRequest request{server.url("/"), "POST", {{"euid", "a", true}}, toBytes("body")};
      std::function<void(HttpExchange)> completion = [promise](const HttpExchange& exchange) {
        promise->set_value(exchange.response.has_value());
      };
      promise.reset();
      const MemoryFault fault({n, false}, thread);
      http.send(std::move(request), std::move(completion));
      // Answered, or dropped with what it holds; a wait that does not end is what must not be.
      const auto state = answered.wait_for(std::chrono::seconds(20));
      MemoryFault::end();
      EXPECT_TRUE(state == std::future_status::ready && (fault.hasHappened() || answered.get()))
          << thread;
      return fault.hasHappened();
    });
  }
}

}  // namespace
}  // namespace zqm::testing
