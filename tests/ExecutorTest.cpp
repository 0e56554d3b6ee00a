// ZQMExecutorOperation and ZQMBlockOperation: the list of operations and the exception boundary.
#include "zqm/queue/executor/ZQMExecutorOperation.h"

#include <latch>
#include <thread>

#include "tests/support/FakePlatform.h"

namespace zqm {
namespace {

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
  {
    std::vector<std::jthread> callers;
    for (int i = 0; i < 8; ++i) {
      callers.emplace_back(process->bind(std::function<void()>([&] {
        if (executor.executeUnlessListed(waitingItem("block-queue"))) ++added;
      })));
    }
  }
  EXPECT_EQ(added, 1);
  EXPECT_TRUE(executor.executeUnlessListed(waitingItem("zqm-core")));
  released.count_down();
  process->drain();
  EXPECT_TRUE(executor.executeUnlessListed(waitingItem("block-queue")));
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
