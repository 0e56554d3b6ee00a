// Process: instances, the current one on each thread, and the count of its work.
#include "zqm/platform/Process.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "tests/support/FakePlatform.h"
#include "zqm/base/HandlerList.h"
#include "zqm/base/WorkerPool.h"

namespace zqm {
namespace {

using zqm::testing::Fakes;
using zqm::testing::Fixture;

struct Counted {
  static inline std::atomic<int> made = 0;
  int number = ++made;
};
PerProcess<Counted> counted;

class ProcessTest : public Fixture {};

TEST_F(ProcessTest, MakesOneInstanceForEachProcess) {
  Counted::made = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([this] {
      const Process::Scope bound(*process);
      counted.get();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Counted::made, 1);
  relaunch();
  EXPECT_EQ(counted->number, 2);
}

TEST_F(ProcessTest, CarriesItselfToTheThreadsThatItsWorkRunsOn) {
  WorkerPool pool("test", 4);
  Process other(fakes.platform());
  std::promise<Process*> seen;
  {
    const Process::Scope inner(other);
    pool.submit(Process::current().bind(
        std::function<void()>([&] { seen.set_value(&Process::current()); })));
  }
  EXPECT_EQ(seen.get_future().get(), &other);
  EXPECT_EQ(&Process::current(), process.get());
}

TEST_F(ProcessTest, DrainsWorkThatStartsMoreWork) {
  WorkerPool pool("test", 2);
  std::atomic<int> runs = 0;
  std::function<void()> again = [&] {
    if (++runs < 50) pool.submit(process->bind(again));
  };
  pool.submit(process->bind(again));
  process->drain();
  EXPECT_EQ(runs, 50);
}

TEST(WorkerPoolTest, RunsBlockedTasksSideBySideUpToItsLimit) {
  WorkerPool pool("test", 3);
  std::promise<void> release;
  const std::shared_future<void> released = release.get_future().share();
  std::atomic<int> started = 0;
  std::atomic<int> ended = 0;
  std::promise<void> threeStarted;
  std::promise<void> allEnded;
  for (int i = 0; i < 5; ++i) {
    pool.submit([&] {
      if (++started == 3) threeStarted.set_value();
      released.wait();
      if (++ended == 5) allEnded.set_value();
    });
  }
  threeStarted.get_future().wait();
  EXPECT_EQ(started, 3);
  release.set_value();
  allEnded.get_future().wait();
}

TEST(HandlerListTest, KeepsHandlersThatThrowAndShowsItselfOccupiedDuringTheWalk) {
  HandlerList<int> list;
  EXPECT_EQ(list.append(nullptr), 0U);
  std::vector<int> order;
  EXPECT_EQ(list.append([&](int value) {
    order.push_back(value);
    EXPECT_EQ(list.append([&](int) { order.push_back(-1); }), 3U);
  }),
            1U);
  EXPECT_EQ(list.append([&](int) { throw 1; }), 2U);
  EXPECT_THROW(list.run(7), int);
  EXPECT_EQ(order, std::vector<int>{7});
  EXPECT_EQ(list.handlers().size(), 3U);
  list.clear();
  EXPECT_TRUE(list.handlers().empty());
}

}  // namespace
}  // namespace zqm
