// The queue of a process that is killed while it enqueues, removes and delivers.
#include <gtest/gtest.h>

#include "soak/KillStorm.h"

namespace zqm::testing {
namespace {

TEST(QueueKillTest, DISABLED_Storms) { soak::runStorm(); }

TEST(QueueKillTest, NoAcknowledgedItemIsLostAndNoneComesBack) {
  soak::KillStorm storm("/proc/self/exe", {"--gtest_filter=QueueKillTest.DISABLED_Storms",
                                           "--gtest_also_run_disabled_tests"});
  for (int count = 0; count < 20; ++count) storm.kill();
  storm.finish();
  for (const std::string& fault : storm.faults()) ADD_FAILURE() << fault;
  std::printf("%s\n", storm.summary().c_str());
}

}  // namespace
}  // namespace zqm::testing
