// The walk over every step of the queue's files, and the faults that it has to find.
#include <cstdio>
#include <cstdlib>

#include "soak/QueueWalk.h"

namespace {

using zqm::soak::Fault;
using zqm::soak::QueueWalk;

constexpr QueueWalk::Depth kWhole = {.withSecondKills = true, .withStops = true};

bool isSound(const std::string& part) {
  bool isWell = true;
  for (const std::string& name : QueueWalk::names()) {
    if (name.find(part) == std::string::npos) continue;
    QueueWalk walk(Fault::none);
    walk.walk(name, kWhole);
    std::printf("%s", walk.summary().c_str());
    for (const std::string& fault : walk.faults()) std::printf("FAULT: %s\n", fault.c_str());
    std::fflush(stdout);
    isWell &= walk.faults().empty();
  }
  return isWell;
}

bool isFound(const char* name, Fault fault) {
  QueueWalk walk(fault);
  auto depth = kWhole;
  depth.untilFault = true;
  walk.walk("", depth);
  const bool isThere = !walk.faults().empty();
  std::printf("planted, %s: %s\n", name,
              isThere ? walk.faults().front().c_str() : "FAULT: it was not found");
  std::fflush(stdout);
  return isThere;
}

}  // namespace

// With the part of a scenario's name, those scenarios alone.
int main(int count, char** arguments) {
  bool isWell = isSound(count > 1 ? arguments[1] : "");
  if (count > 1) return isWell ? EXIT_SUCCESS : EXIT_FAILURE;
  isWell &= isFound("no turn to recover", Fault::noTurn);
  isWell &= isFound("no ids of adopted files", Fault::noIds);
  isWell &= isFound("an id that a compaction keeps", Fault::keptId);
  isWell &= isFound("a name before the lock", Fault::lateLock);
  return isWell ? EXIT_SUCCESS : EXIT_FAILURE;
}
