// Launches of a host, each in a fresh process, with an empty queue and with a long one: the rows of
// its start call and of what it has grown by. What a program pays for being linked with the library
// before its main runs.
#include <time.h>

#include <array>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "bench/Authorities.h"
#include "bench/PendingQueue.h"
#include "bench/Row.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/zqm/Backend.h"
#include "tools/zqm/Program.h"
#include "tools/zqm/Sandbox.h"
#include "zqm/platform/linux/LinuxPlatform.h"

namespace zqm::bench {
namespace {

constexpr std::size_t kPending = 10000;
constexpr int kLaunches = 9;
constexpr int kIdleLaunches = 2;
constexpr int kExecs = 25;
constexpr std::chrono::milliseconds kRest{1500};

using Figures = std::map<std::string, std::vector<double>>;

void read(const std::filesystem::path& program, const std::vector<std::string>& arguments,
          Figures& figures) {
  const auto run = tools::runProgram(program, arguments, {}, std::chrono::minutes(1));
  if (run.end != "code 0") throw std::runtime_error(program.string() + ": " + run.end);
  std::istringstream output(run.output);
  std::string name;
  double value = 0;
  while (output >> name >> value) figures[name].push_back(value);
}

// The backend stays in this process, so that the host's figures are its own.
class Launches {
 public:
  explicit Launches(std::filesystem::path host) : host_(std::move(host)) {}

  // Leaves the queue behind that a launch will find.
  void fill(const testing::TemporaryDirectory& data) const {
    Process process(makeLinuxPlatform(
        {.mainPackage = sandbox_.hostPackage().string(), .userDataDirectory = data.path()}));
    const Process::Scope scope(process);
    ZQMQueueRule::sharedInstance().refreshQueue(pendingQueue(kPending));
  }

  void launch(const testing::TemporaryDirectory& data, std::size_t pending, bool idle,
              Figures& figures) {
    std::vector<std::string> arguments = {sandbox_.hostPackage(), data.path(),
                                          sandbox_.applicationIdFile(), authorities_.file()};
    if (idle) arguments.emplace_back("idle");
    read(host_, arguments, figures);
    if (figures["pending"].back() != static_cast<double>(pending)) {
      throw std::runtime_error("the items were not read, or not held back");
    }
  }

 private:
  const std::filesystem::path host_;
  const testing::TemporaryDirectory directory_;
  Authorities authorities_;
  const tools::IntegratorKey key_ = tools::makeIntegratorKey();
  tools::Backend backend_{key_.certificate, authorities_.files()};
  const tools::Sandbox sandbox_ =
      tools::Sandbox::create(directory_.path() / "sandbox", key_, {.backendUrl = backend_.url()});
};

std::vector<double> execTimes(const std::filesystem::path& program) {
  Figures figures;
  for (int count = 0; count < kExecs; ++count) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    read(program, {std::to_string(now.tv_sec * 1'000'000'000LL + now.tv_nsec)}, figures);
  }
  return figures["main"];
}

// Each of the second beyond the median of the first.
std::vector<double> beyond(const std::vector<double>& base, std::vector<double> values) {
  for (double& each : values) each -= median(base);
  return values;
}

void run(const std::filesystem::path& programs) {
  Launches launches(programs / "zqm_launch_host");
  std::array<testing::TemporaryDirectory, kLaunches> filled;
  for (const auto& each : filled) launches.fill(each);
  // Until the disk has it, so that no launch shares a processor with that.
  std::this_thread::sleep_for(kRest);
  Figures none;
  Figures many;
  for (int count = 0; count < kLaunches; ++count) {
    launches.launch({}, 0, count < kIdleLaunches, none);
    launches.launch(filled.at(count), kPending, count < kIdleLaunches, many);
  }
  Figures floor;
  for (int count = 0; count < kLaunches; ++count) read(programs / "zqm_thread", {}, floor);
  print({"start call, cold, nothing pending", none["call"], Unit::seconds, floor["call"], 100e-6});
  print({"start call, cold, 10,000 pending", many["call"], Unit::seconds, floor["call"], 100e-6});
  const auto plain = execTimes(programs / "zqm_exec");
  print({"from exec to main, linked with the library", execTimes(programs / "zqm_exec_linked"),
         Unit::seconds, plain});
  print({"resident growth by an accepted start over TLS",
         none["resident"],
         Unit::kibibytes,
         {},
         12e6 / 1024});
  print({"anonymous part of it", none["anonymous"], Unit::kibibytes, {}, 4e6 / 1024});
  print({"more of it with 10,000 pending",
         beyond(none["resident"], many["resident"]),
         Unit::kibibytes,
         {},
         10e6 / 1024});
  print({"threads, idle for ten seconds after a start", none["threads"], Unit::count, {}, 4});
  print({"the same with 10,000 pending", many["threads"], Unit::count, {}, 4});
}

}  // namespace
}  // namespace zqm::bench

int main(int, char** arguments) {
  zqm::bench::run(std::filesystem::path(arguments[0]).parent_path());
}
