// Ends hosts at every moment of the first 25 ms after their first start call.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "soak/Exits.h"

namespace {

using std::chrono::microseconds;
using zqm::soak::Exits;

constexpr microseconds kSwept{25'000};

struct Row {
  const char* host;
  Exits& exits;
  const char* situation;
  const char* ending;
};

// Whether all ended as they should.
bool sweep(const Row& row, microseconds step) {
  int launches = 0;
  int wrong = 0;
  for (microseconds delay{0}; delay < kSwept; delay += step) {
    const auto outcome = row.exits.launch(row.situation, row.ending, delay);
    ++launches;
    if (outcome.end == "code " + std::to_string(zqm::soak::kExitCode)) continue;
    ++wrong;
    std::printf("FAULT: %s, %s, %s after %lld us: %s\n", row.host, row.situation, row.ending,
                static_cast<long long>(delay.count()), outcome.end.c_str());
  }
  std::printf("| %s | %s | %s | %d | %d |\n", row.host, row.situation, row.ending, launches, wrong);
  std::fflush(stdout);
  return wrong == 0;
}

}  // namespace

int main(int count, char** arguments) {
  const microseconds step(count == 6 ? std::atoi(arguments[1]) : 0);
  if (step.count() <= 0) return 2;
  Exits linked(arguments[2], {});
  Exits sharedPlugin(arguments[3], {arguments[4]});
  Exits staticPlugin(arguments[3], {arguments[5]});
  std::printf("| host | situation | ending | exits | wrong |\n|---|---|---|---|---|\n");
  bool isSound = true;
  for (const Row& row :
       {Row{"linked", linked, "launching", "return"}, Row{"linked", linked, "launching", "cleanup"},
        Row{"plugin, shared library", sharedPlugin, "launching", "unload"},
        Row{"plugin, static library", staticPlugin, "launching", "return"}}) {
    isSound &= sweep(row, step);
  }
  // No moment matters here: the one step only.
  isSound &= sweep({"plugin, static library", staticPlugin, "digest", "unload"}, kSwept);
  return isSound ? EXIT_SUCCESS : EXIT_FAILURE;
}
