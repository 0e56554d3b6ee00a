// Runs the benchmarks of this folder and prints their rows: each beside its floor, which is the
// benchmark of the same name with "Floor" behind it.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "bench/PendingQueue.h"
#include "bench/Row.h"
#include "zqm/platform/Process.h"
#include "zqm/platform/linux/LinuxPlatform.h"

namespace zqm::bench {
namespace {

// A benchmark may set the counters "99th" and "99th floor" (seconds, one more row), "limit" and
// "99th limit" (seconds), "times its floor" (a limit) and "times its first" (a limit for the
// longest of a family beside its shortest).
class Rows : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      Figure& figure = figures_[{run.family_index, run.per_family_instance_index}];
      figure.family = run.run_name.function_name;
      figure.name = figure.family;
      if (!run.run_name.args.empty()) figure.name.append(" ").append(run.run_name.args);
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: %s\n", figure.name.c_str(), run.error_message.c_str());
        continue;
      }
      const double unit = benchmark::GetTimeUnitMultiplier(run.time_unit);
      figure.wall.push_back(run.GetAdjustedRealTime() / unit);
      if (run.run_name.time_type != "manual_time") {
        figure.processor.push_back(run.GetAdjustedCPUTime() / unit);
      }
      for (const auto& [name, counter] : run.counters) {
        figure.counters[name].push_back(counter.value);
      }
    }
  }

  void Finalize() override {
    for (const auto& [index, figure] : figures_) {
      if (!figure.name.ends_with("Floor")) show(figure);
    }
    for (const auto& [index, figure] : figures_) {
      if (index.second == 0) showGrowth(index.first, figure);
    }
  }

 private:
  using Values = std::vector<double>;

  struct Figure {
    std::string family;
    std::string name;
    Values wall;
    Values processor;
    std::map<std::string, Values> counters;

    Values counter(const std::string& counter) const {
      const auto found = counters.find(counter);
      return found == counters.end() ? Values() : found->second;
    }
    std::optional<double> setting(const std::string& counter) const {
      const Values values = this->counter(counter);
      return values.empty() ? std::nullopt : std::optional(values.front());
    }
  };

  Figure floorOf(const Figure& figure) const {
    for (const auto& [index, each] : figures_) {
      if (each.name == figure.family + "Floor") return each;
    }
    return {};
  }

  void show(const Figure& figure) const {
    const Figure floor = floorOf(figure);
    std::optional<double> limit = figure.setting("limit");
    const auto times = figure.setting("times its floor");
    if (times && !floor.wall.empty()) limit = *times * median(floor.wall);
    print({figure.name, figure.wall, Unit::seconds, floor.wall, limit});
    if (!figure.counter("99th").empty()) {
      print({figure.name + ", 99th percentile", figure.counter("99th"), Unit::seconds,
             figure.counter("99th floor"), figure.setting("99th limit")});
    }
    if (!figure.processor.empty()) {
      print({figure.name + ", time of the calling thread's processor", figure.processor,
             Unit::seconds, floor.processor});
    }
  }

  void showGrowth(std::int64_t family, const Figure& first) const {
    const auto limit = first.setting("times its first");
    if (!limit) return;
    Values times;
    for (const auto& [index, each] : figures_) {
      if (index.first != family || each.wall.empty()) continue;
      times.push_back(median(each.wall) / median(first.wall));
    }
    print({first.family + ", at each length as a multiple of the first, the largest",
           {std::ranges::max(times)},
           Unit::count,
           {},
           limit});
  }

  std::map<std::pair<std::int64_t, std::int64_t>, Figure> figures_;
};

[[noreturn]] void enqueueForEver(const char* package, const char* dataDirectory) {
  constexpr std::size_t kItems = 50;
  constexpr std::chrono::microseconds kPace{200};
  Process process(makeLinuxPlatform({.mainPackage = package, .userDataDirectory = dataDirectory}));
  const Process::Scope scope(process);
  for (;;) {
    for (std::size_t made = 0; made < kItems; ++made) {
      enqueueOne();
      std::this_thread::sleep_for(kPace);
    }
    for (std::size_t made = 0; made < kItems; ++made) removeFirst();
  }
}

}  // namespace
}  // namespace zqm::bench

int main(int count, char** arguments) {
  using namespace zqm::bench;
  if (count == 4 && std::string_view(arguments[1]) == kEnqueueOption) {
    enqueueForEver(arguments[2], arguments[3]);
  }
  benchmark::Initialize(&count, arguments);
  if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 1;
  Rows rows;
  benchmark::RunSpecifiedBenchmarks(&rows);
}
