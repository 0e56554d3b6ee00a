// The storm of the queue's kills, more often than in the tests.
#include <cstdio>
#include <cstdlib>

#include "soak/KillStorm.h"

int main(int count, char** arguments) {
  if (count < 2) zqm::soak::runStorm();
  zqm::soak::KillStorm storm("/proc/self/exe", {});
  const int kills = std::atoi(arguments[1]);
  for (int killed = 0; killed < kills; ++killed) storm.kill();
  storm.finish();
  for (const std::string& fault : storm.faults()) std::printf("FAULT: %s\n", fault.c_str());
  std::printf("%s\n", storm.summary().c_str());
  return storm.faults().empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}
