// A host that is launched to be measured: what the start call costs its thread, and what the
// process has grown by once the backend has accepted. Prints "name value" lines.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "zqm/core/ZQMCore.h"
#include "zqm/platform/Process.h"
#include "zqm/platform/linux/LinuxPlatform.h"
#include "zqm/queue/ZQMQueueRule.h"

namespace {

using Clock = std::chrono::steady_clock;

// A number of /proc/self/status, for example "VmRSS"; sizes are in KiB.
long status(const std::string& name) {
  std::ifstream file("/proc/self/status");
  std::string word;
  long value = 0;
  while (file >> word) {
    if (word == name + ":" && file >> value) return value;
  }
  return 0;
}

// Away from Wi-Fi, where ordinary items of this hour are held back: they are pending until the end.
class Cellular : public zqm::Network {
 public:
  bool accepts(const zqm::NetworkTarget&) override { return true; }
  std::optional<std::uint32_t> flags(const zqm::NetworkTarget&) override {
    return zqm::reachability::kReachable | zqm::reachability::kIsWwan;
  }
  std::shared_ptr<void> watch(const zqm::NetworkTarget&,
                              std::function<void(std::uint32_t)>) override {
    return nullptr;
  }
};

}  // namespace

// The main package, the data directory, the file with the application's identifier, the file of
// certificate authorities, and "idle" to look again ten seconds later.
int main(int count, char** arguments) {
  if (count < 5) return 2;
  std::string appId;
  std::getline(std::ifstream(arguments[3]), appId);
  const zqm::LinuxOptions options{.mainPackage = arguments[1],
                                  .userDataDirectory = arguments[2],
                                  .authoritiesFile = arguments[4]};
  const long resident = status("VmRSS");
  const long anonymous = status("RssAnon");
  const auto begin = Clock::now();
  zqm::Process::setDefaultPlatform([make = zqm::linuxPlatform(options)] {
    zqm::Platform platform = make();
    platform.network = std::make_shared<Cellular>();
    return platform;
  });
  zqm::ZQMCore::startWithAppId(appId, {});
  const std::chrono::duration<double> call = Clock::now() - begin;
  const auto limit = begin + std::chrono::seconds(20);
  while (!zqm::ZQMCore::isStarted() && Clock::now() < limit) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  if (!zqm::ZQMCore::isStarted()) return 1;
  std::printf("call %.9f\n", call.count());
  zqm::Process::current().drain();
  std::printf("resident %ld\n", status("VmRSS") - resident);
  std::printf("anonymous %ld\n", status("RssAnon") - anonymous);
  std::printf("pending %zu\n", zqm::ZQMQueueRule::sharedInstance().getQueue()->count());
  if (count > 5) {
    std::this_thread::sleep_for(std::chrono::seconds(10));
    // The host's own does not count.
    std::printf("threads %ld\n", status("Threads") - 1);
  }
  std::fflush(stdout);
  _exit(EXIT_SUCCESS);
}
