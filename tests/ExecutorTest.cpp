// ZQMExecutorOperation and ZQMBlockOperation: the list of operations and the exception boundary.
#include "zqm/queue/ZQMExecutorOperation.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <thread>

#include "tests/support/FakePlatform.h"

namespace zqm {
namespace {

class ExecutorTest : public testing::Fixture {
 protected:
  // An item that ends once `released` is set.
  ZQMExecutorOperation::Item waitingItem(const std::string& name) {
    auto item =
        ZQMBlockOperation::initWithModuleName("zqm-core", [ready = ready] { ready.wait(); });
    item->setName(name);
    return item;
  }

  static std::vector<std::string> listedNames() {
    std::vector<std::string> names;
    for (const auto& operation : ZQMExecutorOperation::sharedInstance().operations()) {
      names.push_back(operation.name);
    }
    return names;
  }

  std::promise<void> released;
  const std::shared_future<void> ready = released.get_future().share();
};

TEST_F(ExecutorTest, ListsItemsInOrderUntilTheyHaveFinished) {
  ZQMExecutorOperation& executor = ZQMExecutorOperation::sharedInstance();
  std::vector<std::string> expected;
  // More than may run at once: the last ones are pending.
  for (int i = 0; i < 70; ++i) {
    expected.push_back("item");
    expected.back() += std::to_string(i);
    executor.execute(waitingItem(expected.back()));
  }
  executor.execute(nullptr);
  EXPECT_EQ(listedNames(), expected);
  released.set_value();
  process->drain();
  EXPECT_TRUE(listedNames().empty());
}

TEST_F(ExecutorTest, AddsAnItemOnlyWhileNoneOfItsNameIsListed) {
  ZQMExecutorOperation& executor = ZQMExecutorOperation::sharedInstance();
  std::atomic<int> added = 0;
  std::vector<std::thread> callers;
  for (int i = 0; i < 8; ++i) {
    callers.emplace_back([&] {
      const Process::Scope inner(*process);
      if (executor.executeUnlessListed(waitingItem("block-queue"))) ++added;
    });
  }
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(added, 1);
  EXPECT_TRUE(executor.executeUnlessListed(waitingItem("zqm-core")));
  released.set_value();
  process->drain();
  EXPECT_TRUE(executor.executeUnlessListed(waitingItem("block-queue")));
}

TEST_F(ExecutorTest, ReportsWhatAnItemThrowsAndRunsTheNextForTheCallersProcess) {
  ZQMExecutorOperation& executor = ZQMExecutorOperation::sharedInstance();
  executor.execute(ZQMBlockOperation::initWithModuleName(
      "zqm-geobehavior", [] { throw std::runtime_error("no position"); }));
  process->drain();
  const auto reports = fakes.http->requestsTo("graylog");
  ASSERT_EQ(reports.size(), 1U);
  const std::string report(asText(*reports[0].body));
  for (const char* part :
       {R"("message":"no position")", R"("moduleName":"zqm-geobehavior")", R"("level":"2")"}) {
    EXPECT_NE(report.find(part), std::string::npos) << report;
  }
  Process* seen = nullptr;
  const auto item =
      ZQMBlockOperation::initWithModuleName("zqm-config", [&] { seen = &Process::current(); });
  executor.execute(item);
  process->drain();
  EXPECT_EQ(seen, process.get());
  EXPECT_EQ(item->qualityOfService(), 9);
  EXPECT_EQ(item->queuePriority(), 8);
}

}  // namespace
}  // namespace zqm
