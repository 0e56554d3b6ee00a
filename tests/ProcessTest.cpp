// Process: instances, the current one on each thread, and the count of its work.
#include "zqm/platform/Process.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/support/FakePlatform.h"
#include "zqm/base/HandlerList.h"

namespace zqm {
namespace {

struct Counted {
  static inline std::atomic<int> made = 0;
  int number = ++made;
};
PerProcess<Counted> counted;

class ProcessTest : public testing::Fixture {};

TEST_F(ProcessTest, MakesOneInstanceForEachProcess) {
  Counted::made = 0;
  const std::function<void()> use = [] { counted.get(); };
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i) threads.emplace_back(process->bind(use));
  }
  EXPECT_EQ(Counted::made, 1);
  relaunch();
  EXPECT_EQ(counted->number, 2);
}

TEST(HandlerListTest, KeepsHandlersThatThrowAndShowsItselfOccupiedDuringTheWalk) {
  HandlerList<int> list;
  EXPECT_EQ(list.append(nullptr), 0U);
  std::vector<int> order;
  list.append([&](int value) {
    order.push_back(value);
    EXPECT_EQ(list.append([&](int) { order.push_back(-1); }), 3U);
  });
  EXPECT_EQ(list.append([&](int) { throw 1; }), 2U);
  EXPECT_THROW(list.run(7), int);
  EXPECT_EQ(order, std::vector<int>{7});
  EXPECT_EQ(list.handlers().size(), 3U);
  list.clear();
  EXPECT_TRUE(list.handlers().empty());
}

}  // namespace
}  // namespace zqm
