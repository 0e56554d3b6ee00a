// A host application: hands its protected application identifier and one kit module to the
// library, once, at launch. Prints what it sees as "name=value" lines.
#include <charconv>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "ExampleKit.h"
#include "Pretence.h"
#include "zqm/core/ZQMUtils.h"
#include "zqm/platform/Process.h"
#include "zqm/zqm.h"

namespace {

constexpr const char* kUsage =
    "Usage: %s APPLICATION-ID-FILE [SECONDS] [--hours-later N] [--network KIND]\n\n"
    "The file's first line is the protected application identifier. Waits up to SECONDS (10) for\n"
    "the kit module's start, which follows the backend's acceptance, and then for the end of the\n"
    "library's work. The settings are looked for in ZQMCore.bundle beside the executable's\n"
    "Info.plist. --hours-later runs the library's clock ahead; KIND is wifi, cellular or none and\n"
    "stands in for the real network.\n";

struct Arguments {
  std::string applicationIdFile;
  std::chrono::seconds limit{10};
  example::Pretence pretence;
};

void print(const char* name, bool value) {
  std::printf("%s=%s\n", name, value ? "true" : "false");
  std::fflush(stdout);
}

std::optional<unsigned> numberFrom(std::string_view text) {
  unsigned value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool whole = error == std::errc() && end == text.data() + text.size() && value <= 3600;
  return whole ? std::optional(value) : std::nullopt;
}

bool readArguments(int argc, char** argv, Arguments& arguments) {
  if (argc < 2) return false;
  arguments.applicationIdFile = argv[1];
  int next = 2;
  if (next < argc && argv[next][0] != '-') {
    const auto seconds = numberFrom(argv[next++]);
    if (!seconds) return false;
    arguments.limit = std::chrono::seconds(*seconds);
  }
  for (; next + 1 < argc; next += 2) {
    const std::string_view option = argv[next];
    const auto hours = numberFrom(argv[next + 1]);
    const auto network = example::networkNamed(argv[next + 1]);
    if (option == "--hours-later" && hours) {
      arguments.pretence.ahead = std::chrono::hours(*hours);
    } else if (option == "--network" && network) {
      arguments.pretence.network = network;
    } else {
      return false;
    }
  }
  return next == argc;
}

}  // namespace

int main(int argc, char** argv) {
  Arguments arguments;
  if (!readArguments(argc, argv, arguments)) {
    std::fprintf(stderr, kUsage, argv[0]);
    return 2;
  }
  std::string applicationId;
  if (!std::getline(std::ifstream(arguments.applicationIdFile), applicationId)) {
    std::fprintf(stderr, "%s: cannot read an application identifier\n",
                 arguments.applicationIdFile.c_str());
    return 1;
  }

  example::pretend(arguments.pretence);
  std::printf("advertisingId=%s\n", zqm::ZQMCore::getIOSAdvertisingId().c_str());
  std::printf("network=%d\n", zqm::ZQMUtils::getNetworkStatus());
  print("isStarted-before", zqm::ZQMCore::isStarted());
  const auto kit = std::make_shared<example::ExampleKit>();
  zqm::ZQMCore::startWithAppId(applicationId, {kit});
  print("kit-started", kit->waitUntilStarted(arguments.limit));
  // An ordinary host runs on; this one has nothing else to do and shows all that a launch does.
  zqm::Process::current().drain();
  print("isStarted-after", zqm::ZQMCore::isStarted());
  return 0;
}
