// Launches one after the other over the same directories, and once a minute what the process takes.
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "soak/Launch.h"
#include "tests/support/TemporaryDirectory.h"

// Where a sanitizer has replaced the allocator.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kLaunch = 5s;
// Until idle threads have left; on a busy machine a few times that.
constexpr auto kSettling = 7s;
constexpr int kMostSettlings = 5;
// This one and a sanitizer's.
constexpr long kIdleThreads = 2;

// Taken between launches, when only what outlives a Process is there.
struct Sample {
  long residentKb = 0;
  long heapKb = 0;
  long threads = 0;
  long descriptors = 0;
  long files = 0;
  long fileKb = 0;
};

// By how much the last sample may exceed the largest of the second fifth, when all that is made
// once has been made.
constexpr Sample kTolerance{.residentKb = 24 << 10,
                            .heapKb = 512,
                            .threads = 0,
                            .descriptors = 0,
                            .files = 4,
                            .fileKb = 256};

constexpr std::pair<const char*, long Sample::*> kFigures[] = {
    {"resident KiB", &Sample::residentKb},
    {"heap KiB", &Sample::heapKb},
    {"threads", &Sample::threads},
    {"descriptors", &Sample::descriptors},
    {"files", &Sample::files},
    {"file KiB", &Sample::fileKb}};

long entries(const char* directory) {
  return std::distance(std::filesystem::directory_iterator(directory), {});
}

long residentKb() {
  long size = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return resident * 4;
}

const auto sanitizersBytes = &__sanitizer_get_current_allocated_bytes;

long heapKb() {
  return static_cast<long>((sanitizersBytes ? sanitizersBytes() : mallinfo2().uordblks) >> 10);
}

Sample takeSample(const std::filesystem::path& data) {
  for (int settled = 0; settled < kMostSettlings; ++settled) {
    std::this_thread::sleep_for(kSettling);
    if (entries("/proc/self/task") <= kIdleThreads) break;
  }
  Sample sample{residentKb(), heapKb(), entries("/proc/self/task"), entries("/proc/self/fd")};
  for (const auto& file : std::filesystem::recursive_directory_iterator(data)) {
    if (!file.is_regular_file()) continue;
    ++sample.files;
    sample.fileKb += static_cast<long>(file.file_size() >> 10);
  }
  return sample;
}

// How many figures grew.
int judge(const std::vector<Sample>& samples) {
  int grown = 0;
  const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 5);
  const auto end = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() * 2 / 5 + 1);
  for (const auto& [name, figure] : kFigures) {
    // A sanitizer keeps pages about every address that was ever used.
    if (figure == &Sample::residentKb && sanitizersBytes) continue;
    const auto most = std::max_element(begin, end, [figure = figure](const auto& a, const auto& b) {
      return a.*figure < b.*figure;
    });
    const long before = *most.*figure;
    const long after = samples.back().*figure;
    if (after <= before + kTolerance.*figure) continue;
    ++grown;
    std::printf("FAULT: %s grew from %ld to %ld\n", name, before, after);
  }
  return grown;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 2;
  const auto end = Clock::now() + std::chrono::minutes(std::atoi(arguments[1]));
  const auto key = zqm::tools::makeIntegratorKey();
  zqm::soak::RemoteBackend backend(key);
  const zqm::testing::TemporaryDirectory root;
  const auto data = root.path() / "data";
  const auto sandbox =
      zqm::tools::Sandbox::create(root.path() / "sandbox", key, {.backendUrl = backend.url()});
  zqm::soak::Account account;
  zqm::soak::Stage stage{sandbox, data, backend, account, zqm::testing::kNow};
  std::vector<Sample> samples;
  int faults = 0;
  unsigned launches = 0;
  for (auto next = Clock::now() + 1min; Clock::now() < end;) {
    for (const std::string& fault : zqm::soak::Launch(stage, ++launches).run(kLaunch)) {
      ++faults;
      std::printf("FAULT: launch %u: %s\n", launches, fault.c_str());
    }
    if (Clock::now() < next) continue;
    next += 1min;
    samples.push_back(takeSample(data));
    std::printf("%2zu min:", samples.size());
    for (const auto& [name, figure] : kFigures) {
      std::printf(" %s %ld,", name, samples.back().*figure);
    }
    std::printf(" launches %u, starts %lu; %s\n", launches, stage.accepted.load(),
                account.summary().c_str());
    std::fflush(stdout);
  }
  if (!samples.empty()) faults += judge(samples);
  std::printf("%u launches, %lu starts; %s; %d faults\n", launches, stage.accepted.load(),
              account.summary().c_str(), faults);
  return faults == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
