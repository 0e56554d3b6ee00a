// One endpoint look-up, which loads table and key afresh, beside its RSA operation alone.
#include <benchmark/benchmark.h>

#include "bench/Installation.h"
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

}  // namespace
}  // namespace zqm::bench
