// ZQMExecutorOperation and ZQMBlockOperation, the list of operations and the exception boundary;
// and the instances of a process, which each of its threads finds.
#include "zqm/queue/executor/ZQMExecutorOperation.h"

#include <latch>

#include "tests/support/FakePlatform.h"
#include "tests/support/Threads.h"

namespace zqm {
namespace {

struct Counted {
  static inline std::atomic<int> made = 0;
  int number = ++made;
};
PerProcess<Counted> counted;

class ExecutorTest : public testing::Fixture {
 protected:
  // An item that ends once `released` is set.
  ZQMExecutorOperation::Item waitingItem(const std::string& name) {
    auto item = ZQMBlockOperation::initWithModuleName("zqm-core", [this] { released.wait(); });
    item->setName(name);
    return item;
  }

  ZQMExecutorOperation& executor = ZQMExecutorOperation::sharedInstance();
  std::latch released{1};
};

TEST_F(ExecutorTest, ListsItemsInOrderUntilTheyHaveFinished) {
  // More than may run at once: the last ones are pending.
  for (int i = 0; i < 70; ++i) executor.execute(waitingItem(std::to_string(i)));
  executor.execute(nullptr);
  const auto listed = executor.operations();
  ASSERT_EQ(listed.size(), 70U);
  for (std::size_t i = 0; i < 70; ++i) EXPECT_EQ(listed[i].name, std::to_string(i));
  released.count_down();
  process->drain();
  EXPECT_TRUE(executor.operations().empty());
}

TEST_F(ExecutorTest, AddsAnItemOnlyWhileNoneOfItsNameIsListed) {
  std::atomic<int> added = 0;
  testing::onThreads(8, [&](int) {
    const Process::Scope inside(*process);
    if (executor.executeUnlessListed(waitingItem("block-queue"))) ++added;
  });
  EXPECT_EQ(added, 1);
  EXPECT_TRUE(executor.executeUnlessListed(waitingItem("zqm-core")));
  released.count_down();
  process->drain();
  EXPECT_TRUE(executor.executeUnlessListed(waitingItem("block-queue")));
}

TEST_F(ExecutorTest, ItsProcessMakesOneInstance) {
  Counted::made = 0;
  testing::onThreads(
      8, [this](int) { process->bind(std::function<void()>([] { counted.get(); }))(); });
  EXPECT_EQ(Counted::made, 1);
  relaunch();
  EXPECT_EQ(counted->number, 2);
}

TEST_F(ExecutorTest, ReportsWhatAnItemThrowsAndRunsTheNext) {
  executor.execute(ZQMBlockOperation::initWithModuleName(
      "zqm-geobehavior", [] { throw std::runtime_error("no position"); }));
  const auto reported = reports();
  ASSERT_EQ(reported.size(), 1U);
  EXPECT_EQ(reported[0]["message"], Value("no position"));
  EXPECT_EQ(reported[0]["moduleName"], Value("zqm-geobehavior"));
  EXPECT_EQ(reported[0]["level"], Value("2"));
  bool ran = false;
  executor.execute(ZQMBlockOperation::initWithModuleName("zqm-config", [&] { ran = true; }));
  process->drain();
  EXPECT_TRUE(ran);
}

}  // namespace
}  // namespace zqm
