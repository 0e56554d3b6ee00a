// Ends of hosts and kills, a few of each: their rows. soak/ does them by the hundred.
#include <filesystem>

#include "bench/Row.h"
#include "soak/Exits.h"
#include "soak/KillStorm.h"

namespace zqm::bench {
namespace {

constexpr int kCount = 20;

void endHosts(const std::string& host) {
  soak::Exits exits(host, {});
  const auto times = [&](const char* situation, const char* ending) {
    std::vector<double> values;
    for (int count = 0; count < kCount; ++count) {
      values.push_back(exits.launch(situation, ending).took.count() / 1000);
    }
    return values;
  };
  for (const char* ending : exits.kEndings) {
    const auto floor = times("idle", ending);
    for (const char* situation : exits.kSituations) {
      print({std::string("end by ").append(ending).append(", ").append(situation),
             times(situation, ending), Unit::seconds, floor, 50e-3});
    }
  }
}

void killStorms(const std::string& self) {
  soak::KillStorm storm(self, {"storm"});
  for (int count = 0; count < kCount; ++count) storm.kill();
  storm.finish();
  print({"wrongs of 20 kills: items lost, delivered again, launches failed",
         {static_cast<double>(storm.faults().size())},
         Unit::count,
         {},
         0});
}

}  // namespace
}  // namespace zqm::bench

int main(int count, char** arguments) {
  if (count > 1) zqm::soak::runStorm();
  const auto self = std::filesystem::canonical(arguments[0]);
  zqm::bench::killStorms(self);
  zqm::bench::endHosts(self.parent_path() / "zqm_bench_exit_host");
}
