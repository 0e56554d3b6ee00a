// What enqueuing and removing an item cost the caller at several lengths of the queue, called in a
// burst and once per millisecond. System calls and bytes are counted by calls.cpp.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "bench/Installation.h"
#include "bench/PendingQueue.h"
#include "zqm/util/Cbor.h"

namespace zqm::bench {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr std::size_t kCalls = 500;
// After so many calls the queue is brought back to the length named.
constexpr std::size_t kCallsOfABatch = 50;
constexpr int kCompactions = 5;
constexpr std::chrono::milliseconds kPace{1};
// By then a queue that was made at once is on the disk.
constexpr std::chrono::milliseconds kRest{1500};

Installation& queueInstallation() {
  static Installation made;
  return made;
}

double quantile(std::vector<double>& times, double share) {
  const auto place = times.begin() + static_cast<std::ptrdiff_t>(
                                         share * static_cast<double>(times.size() - 1) + 0.5);
  std::nth_element(times.begin(), place, times.end());
  return *place;
}

// A call with what `make` gives, which is not the call's to pay.
template <class Make, class Call>
double timed(Clock::duration pace, Make make, Call call) {
  if (pace.count() > 0) std::this_thread::sleep_until(Clock::now() + pace);
  auto given = make();
  const auto before = Clock::now();
  call(std::move(given));
  return Seconds(Clock::now() - before).count();
}

// Of calls that take this long and do nothing: the interruptions by the machine.
double interruptions(double length, Clock::duration pace) {
  std::vector<double> times(kCalls);
  for (double& each : times) {
    each = timed(pace, Clock::now, [length](Clock::time_point begin) {
      while (Seconds(Clock::now() - begin).count() < length) {
      }
    });
  }
  return quantile(times, 0.99);
}

// Processes over the same container that enqueue and remove until they are killed.
class OtherProcesses {
 public:
  OtherProcesses(std::size_t count, const Sandboxed& place) {
    const std::string package = place.sandbox.hostPackage();
    const std::string data = place.root / "data";
    const char* const arguments[] = {"zqm_bench", kEnqueueOption, package.c_str(), data.c_str(),
                                     nullptr};
    for (std::size_t made = 0; made < count; ++made) {
      pid_t process = -1;
      if (posix_spawn(&process, "/proc/self/exe", nullptr, nullptr,
                      const_cast<char* const*>(arguments), environ) != 0) {
        throw std::runtime_error("no process");
      }
      processes_.push_back(process);
    }
  }
  ~OtherProcesses() {
    for (const pid_t process : processes_) {
      ::kill(process, SIGKILL);
      ::waitpid(process, nullptr, 0);
    }
  }
  OtherProcesses(const OtherProcesses&) = delete;
  OtherProcesses& operator=(const OtherProcesses&) = delete;

 private:
  std::vector<pid_t> processes_;
};

// The row's time is the median of the single calls. `undo` takes one of them back, unmeasured.
template <class Make, class Call, class Undo>
void measure(benchmark::State& state, Clock::duration pace, Make make, Call call, Undo undo) {
  std::vector<double> times;
  for (auto _ : state) {
    while (times.size() < kCalls) {
      for (std::size_t i = 0; i < kCallsOfABatch; ++i) times.push_back(timed(pace, make, call));
      for (std::size_t i = 0; i < kCallsOfABatch; ++i) undo();
    }
    state.SetIterationTime(quantile(times, 0.5));
  }
  state.counters["99th"] = quantile(times, 0.99);
  state.counters["99th floor"] = interruptions(quantile(times, 0.5), pace);
}

// A queue of the row's length that has come to rest.
void fillQueue(const benchmark::State& state) {
  ZQMQueueRule::sharedInstance().refreshQueue(
      pendingQueue(static_cast<std::size_t>(state.range(0))));
  queueInstallation().process->drain();
  std::this_thread::sleep_for(kRest);
}

void enqueueAtPace(benchmark::State& state, Clock::duration pace) {
  const Process::Scope scope(*queueInstallation().process);
  fillQueue(state);
  measure(state, pace, nextHanded, enqueue, removeFirst);
  state.counters["limit"] = 10e-6;
  state.counters["99th limit"] = 50e-6;
  state.counters["times its first"] = 1.2;
}

// The floor: the body at the end of an open file.
void appendAtPace(benchmark::State& state, Clock::duration pace) {
  const std::string path = queueInstallation().root / "appended";
  const int file = ::open(path.c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
  measure(
      state, pace, nextHanded,
      [&](const Handed& item) {
        const auto written = ::write(file, item.body.data(), item.body.size());
        if (written < 0) state.SkipWithError("not written");
      },
      [] {});
  ::close(file);
}

void Enqueue(benchmark::State& state) { enqueueAtPace(state, {}); }
void EnqueueFloor(benchmark::State& state) { appendAtPace(state, {}); }
void EnqueuePaced(benchmark::State& state) { enqueueAtPace(state, kPace); }
void EnqueuePacedFloor(benchmark::State& state) { appendAtPace(state, kPace); }

void Remove(benchmark::State& state) {
  const Process::Scope scope(*queueInstallation().process);
  fillQueue(state);
  for (std::size_t i = 0; i < kCallsOfABatch; ++i) enqueueOne();
  measure(state, {}, firstPending, remove, enqueueOne);
  // Not in proportion to the queue, but what was queued long ago has left the caches.
  state.counters["times its first"] = 3;
}
void RemoveFloor(benchmark::State& state) { appendAtPace(state, {}); }

void RemoveInTheMidst(benchmark::State& state) {
  const Process::Scope scope(*queueInstallation().process);
  fillQueue(state);
  measure(state, {}, midmostPending, remove, enqueueOne);
  state.counters["limit"] = 30e-6;
}
void RemoveInTheMidstFloor(benchmark::State& state) { appendAtPace(state, {}); }

void EnqueueBesideThreeProcesses(benchmark::State& state) {
  const Process::Scope scope(*queueInstallation().process);
  fillQueue(state);
  const OtherProcesses others(3, queueInstallation());
  std::this_thread::sleep_for(kRest);
  measure(state, {}, nextHanded, enqueue, removeFirst);
  state.counters["limit"] = 10e-6;
}
void EnqueueBesideThreeProcessesFloor(benchmark::State& state) { appendAtPace(state, {}); }

// What the first use of the queue in a process costs its thread.
void LoadQueue(benchmark::State& state) {
  const Sandboxed place;
  {
    Process process(place.platform());
    const Process::Scope scope(process);
    ZQMQueueRule::sharedInstance().refreshQueue(
        pendingQueue(static_cast<std::size_t>(state.range(0))));
  }
  std::vector<double> times(kCompactions);
  for (auto _ : state) {
    for (double& each : times) {
      Process process(place.platform());
      const Process::Scope scope(process);
      each = timed({}, Clock::now, [](Clock::time_point) { ZQMQueueRule::sharedInstance(); });
    }
    state.SetIterationTime(quantile(times, 0.5));
  }
}

// What a program pays that encodes the whole queue and replaces one file at every change.
void RewriteQueue(benchmark::State& state) {
  const Process::Scope scope(*queueInstallation().process);
  const std::string path = queueInstallation().root / "rewritten";
  const ZQMQueueModel queue = pendingQueue(static_cast<std::size_t>(state.range(0)));
  std::vector<double> times(kCompactions);
  for (auto _ : state) {
    for (double& each : times) {
      each = timed({}, Clock::now, [&](Clock::time_point) {
        std::string content;
        putCbor(content, queue.toDictionary());
        if (!platform().files->writeAtomically(path, toBytes(content))) {
          state.SkipWithError("not written");
        }
      });
    }
    state.SetIterationTime(quantile(times, 0.5));
  }
}

void samples(benchmark::internal::Benchmark* row) { row->UseManualTime()->Iterations(1); }
void atEachLength(benchmark::internal::Benchmark* row) {
  samples(row->Arg(0)->Arg(1000)->Arg(10000));
}

BENCHMARK(Enqueue)->Apply(atEachLength);
BENCHMARK(EnqueueFloor)->Apply(samples);
BENCHMARK(EnqueuePaced)->Apply(atEachLength);
BENCHMARK(EnqueuePacedFloor)->Apply(samples);
BENCHMARK(Remove)->Apply(atEachLength);
BENCHMARK(RemoveFloor)->Apply(samples);
BENCHMARK(RemoveInTheMidst)->Apply(samples)->Arg(10000);
BENCHMARK(RemoveInTheMidstFloor)->Apply(samples);
BENCHMARK(EnqueueBesideThreeProcesses)->Apply(samples)->Arg(0);
BENCHMARK(EnqueueBesideThreeProcessesFloor)->Apply(samples);
BENCHMARK(LoadQueue)->Apply(samples)->Arg(10000);
BENCHMARK(RewriteQueue)->Apply(atEachLength);

}  // namespace
}  // namespace zqm::bench
