// One endpoint look-up, which loads table and key afresh, beside its RSA operation alone; and one
// setting.
#include <benchmark/benchmark.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "bench/Installation.h"
#include "zqm/core/settings/ZQMEnvironmentUtil.h"
#include "zqm/crypto/ZQMCryptography.h"
#include "zqm/endpoints/ZQMEndPoint.h"

namespace zqm::bench {
namespace {

void EndpointLookup(benchmark::State& state) {
  const Process::Scope scope(*installation().process);
  if (ZQMEndPoint::config() != installation().backend.tableAddress("config/config")) {
    state.SkipWithError("not from the table");
  }
  for (auto _ : state) benchmark::DoNotOptimize(ZQMEndPoint::config());
}
BENCHMARK(EndpointLookup)->Unit(benchmark::kMicrosecond);

// The floor: the private-key operation with a key that is loaded already.
void EndpointLookupFloor(benchmark::State& state) {
  const Installation& made = installation();
  ZQMCryptography cryptography;
  cryptography.loadPrivateKeyFromData(made.key.pkcs12, made.key.password);
  const std::string text = tools::protect(made.key.certificate, "http://127.0.0.1:1/config");
  for (auto _ : state) {
    if (!cryptography.rsaDecryptString(text)) state.SkipWithError("not decrypted");
  }
}
BENCHMARK(EndpointLookupFloor)->Unit(benchmark::kMicrosecond);

// A setting of a host with so many files beside its Info.plist.
void Setting(benchmark::State& state) {
  const Sandboxed place;
  for (std::int64_t made = 0; made < state.range(0); ++made) {
    std::ofstream(place.sandbox.hostPackage() / ("asset" + std::to_string(made))) << made;
  }
  // By then a change of the directory shows in its time stamp.
  std::this_thread::sleep_for(std::chrono::seconds(4));
  Process process(place.platform());
  const Process::Scope scope(process);
  for (auto _ : state) benchmark::DoNotOptimize(ZQMEnvironmentUtil::configEnvironmentUri());
  state.counters["limit"] = 50e-6;
}
BENCHMARK(Setting)->Unit(benchmark::kMicrosecond)->Arg(0)->Arg(500)->Arg(5000);

}  // namespace
}  // namespace zqm::bench
