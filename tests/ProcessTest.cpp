// Process: instances, the current one on each thread, and the count of its work.
#include "zqm/platform/Process.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/support/FakePlatform.h"

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

}  // namespace
}  // namespace zqm
