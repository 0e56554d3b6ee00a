// Ends hosts in every situation, many times, and tells how long they took. An idle one, which never
// calls the library, shows what the machine needs.
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "soak/Exits.h"

namespace {

constexpr double kLimitMs = 50;

// Whether all ended as they should.
bool endOften(zqm::soak::Exits& exits, const char* situation, const char* ending, int count) {
  std::vector<double> took;
  std::size_t late = 0;
  std::size_t wrong = 0;
  for (int launch = 0; launch < count; ++launch) {
    const auto outcome = exits.launch(situation, ending);
    took.push_back(outcome.took.count());
    late += outcome.took.count() > kLimitMs ? 1 : 0;
    if (outcome.end == "code " + std::to_string(zqm::soak::kExitCode)) continue;
    ++wrong;
    std::printf("FAULT: %s, %s: %s\n", situation, ending, outcome.end.c_str());
  }
  std::ranges::sort(took);
  std::printf("| %s | %s | %zu | %.1f | %.1f | %.1f | %zu | %zu |\n", situation, ending,
              took.size(), took[took.size() / 2], took[took.size() * 99 / 100], took.back(), late,
              wrong);
  std::fflush(stdout);
  // What an idle host needs is the machine's.
  return wrong == 0 && (late == 0 || std::string_view(situation) == "idle");
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return 2;
  zqm::soak::Exits exits(arguments[1], {});
  bool isSound = true;
  std::printf("| situation | ending | exits | median, ms | 99th | worst | over %.0f ms | wrong |\n",
              kLimitMs);
  std::printf("|---|---|---|---|---|---|---|---|\n");
  std::vector<const char*> situations = {"idle"};
  situations.insert(situations.end(), std::begin(exits.kSituations), std::end(exits.kSituations));
  for (const char* situation : situations) {
    for (const char* ending : exits.kEndings) {
      isSound &= endOften(exits, situation, ending, std::atoi(arguments[2]));
    }
  }
  return isSound ? EXIT_SUCCESS : EXIT_FAILURE;
}
