// The storm of several processes over one container: plain, and with a full disk for moments.
#include "soak/QueueStorm.h"

#include <cstdio>
#include <cstdlib>

namespace {

bool isSound(const char* name, const zqm::soak::QueueStorm::Options& options) {
  zqm::soak::QueueStorm storm(options);
  storm.run();
  for (const std::string& fault : storm.faults()) std::printf("FAULT: %s\n", fault.c_str());
  std::printf("%s: %s\n", name, storm.summary().c_str());
  std::fflush(stdout);
  return storm.faults().empty();
}

}  // namespace

int main(int count, char** arguments) {
  zqm::soak::QueueStorm::Options options;
  if (count > 1) options.kills = std::atoi(arguments[1]);
  bool isWell = isSound("plain", options);
  options.fillsDisk = options.hasReader = true;
  isWell &= isSound("with a full disk and a reader", options);
  return isWell ? EXIT_SUCCESS : EXIT_FAILURE;
}
