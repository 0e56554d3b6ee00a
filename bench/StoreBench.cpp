// A user record to and from the store, beside what replacing a file costs at least.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "bench/Installation.h"
#include "zqm/core/user/ZQMUserModel.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/util/Cbor.h"

namespace zqm::bench {
namespace {

void SaveUser(benchmark::State& state) {
  const Process::Scope scope(*installation().process);
  const ZQMUserModel user = ZQMDatabase::readRecord<ZQMUserModel>().value();
  for (auto _ : state) {
    if (!ZQMDatabase::saveObject<ZQMUserModel>(user)) state.SkipWithError("not saved");
  }
}
BENCHMARK(SaveUser)->UseRealTime()->Unit(benchmark::kMicrosecond);

// The floor: temporary file, write, data sync, rename, of as many bytes.
void SaveUserFloor(benchmark::State& state) {
  const Process::Scope scope(*installation().process);
  std::string content;
  putCbor(content, ZQMDatabase::readRecord<ZQMUserModel>().value().toDictionary());
  const std::string path = (installation().root / "floor").string();
  const std::string temporary = path + ".new";
  for (auto _ : state) {
    const int file = ::open(temporary.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
    if (::write(file, content.data(), content.size()) < 0 || ::fdatasync(file) != 0) {
      state.SkipWithError("not written");
    }
    ::close(file);
    std::rename(temporary.c_str(), path.c_str());
  }
}
BENCHMARK(SaveUserFloor)->UseRealTime()->Unit(benchmark::kMicrosecond);

void ReadUser(benchmark::State& state) {
  const Process::Scope scope(*installation().process);
  for (auto _ : state) benchmark::DoNotOptimize(ZQMDatabase::readRecord<ZQMUserModel>());
}
BENCHMARK(ReadUser)->Unit(benchmark::kMicrosecond);

// The floor: the same bytes into memory.
void ReadUserFloor(benchmark::State& state) {
  const Process::Scope scope(*installation().process);
  std::string content;
  putCbor(content, ZQMDatabase::readRecord<ZQMUserModel>().value().toDictionary());
  const std::string path = (installation().root / "read").string();
  platform().files->writeAtomically(path, toBytes(content));
  Bytes buffer(content.size());
  for (auto _ : state) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    benchmark::DoNotOptimize(::read(file, buffer.data(), buffer.size()));
    ::close(file);
  }
}
BENCHMARK(ReadUserFloor)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace zqm::bench
