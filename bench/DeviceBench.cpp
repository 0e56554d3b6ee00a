// A refresh of the stored device profile, beside the save of that record alone.
#include <benchmark/benchmark.h>

#include "bench/Installation.h"
#include "zqm/device/ZQMDeviceModel.h"
#include "zqm/device/ZQMDeviceRule.h"
#include "zqm/model/ZQMDatabase.h"

namespace zqm::bench {
namespace {

void ProfileRefresh(benchmark::State& state) {
  const Process::Scope scope(*installation().process);
  if (!ZQMDatabase::readRecord<ZQMDeviceModel>()) state.SkipWithError("no profile is stored");
  for (auto _ : state) ZQMDeviceRule::sharedInstance().updatedInfo();
}
BENCHMARK(ProfileRefresh)->UseRealTime();

void ProfileRefreshFloor(benchmark::State& state) {
  const Process::Scope scope(*installation().process);
  const auto profile = ZQMDatabase::readRecord<ZQMDeviceModel>().value();
  for (auto _ : state) {
    if (!ZQMDatabase::saveObject<ZQMDeviceModel>(profile)) state.SkipWithError("not saved");
  }
}
BENCHMARK(ProfileRefreshFloor)->UseRealTime();

}  // namespace
}  // namespace zqm::bench
