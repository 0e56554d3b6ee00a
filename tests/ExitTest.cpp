// Real processes that end while the library is at work.
#include <gtest/gtest.h>

#include <algorithm>

#include "soak/Exits.h"

namespace zqm::testing {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// They have much to look through at the end, and ThreadSanitizer sleeps for a second.
constexpr double kUsualMs = 2500;
#else
constexpr double kUsualMs = 50;
#endif
// Other tests run meanwhile. No server is waited for.
constexpr double kWorstMs = 10'000;

TEST(ExitTest, DISABLED_Ends) { soak::runExitHost(); }

TEST(ExitTest, ProcessEndsAtOnceAndWithItsCodeWhateverIsUnderWay) {
  soak::Exits exits("/proc/self/exe",
                    {"--gtest_filter=ExitTest.DISABLED_Ends", "--gtest_also_run_disabled_tests"});
  for (const std::string situation : soak::Exits::kSituations) {
    std::vector<double> took;
    for (int count = 0; count < 20; ++count) {
      const std::string ending = soak::Exits::kEndings[count % 2];
      const auto outcome = exits.launch(situation, ending);
      EXPECT_EQ(outcome.end, ending == "exit" ? "code 7" : "code 0") << situation;
      took.push_back(outcome.took.count());
    }
    std::ranges::sort(took);
    EXPECT_LT(took[took.size() / 2], kUsualMs) << situation;
    EXPECT_LT(took.back(), kWorstMs) << situation;
  }
}

}  // namespace
}  // namespace zqm::testing
