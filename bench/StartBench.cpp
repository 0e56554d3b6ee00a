// What a start costs the host's thread. The call of a fresh process is measured by launch.cpp.
#include <benchmark/benchmark.h>

#include <chrono>

#include "bench/Installation.h"
#include "zqm/base/WorkerPool.h"
#include "zqm/core/ZQMCore.h"

namespace zqm::bench {
namespace {

using Clock = std::chrono::steady_clock;

// Each iteration is the first call of a Process.
void StartCall(benchmark::State& state) {
  const std::string appId = installation().sandbox.applicationId();
  for (auto _ : state) {
    Process process(installation().platform());
    const Process::Scope scope(process);
    const auto before = Clock::now();
    ZQMCore::startWithAppId(appId, {});
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - before).count());
    process.drain();
  }
}
BENCHMARK(StartCall)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(200);

// The floor: nothing but a work item on a new thread.
void ThreadFloor(benchmark::State& state) {
  for (auto _ : state) {
    const auto before = Clock::now();
    startThread("floor", [] {});
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - before).count());
  }
}
BENCHMARK(ThreadFloor)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(200);

}  // namespace
}  // namespace zqm::bench
