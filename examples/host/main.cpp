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
#include "zqm/zqm.h"

namespace {

constexpr const char* kUsage =
    "Usage: %s APPLICATION-ID-FILE [SECONDS]\n\n"
    "The file's first line is the protected application identifier. Waits up to SECONDS (10) for\n"
    "the kit module's start, which follows the backend's acceptance.\n"
    "The settings are looked for in ZQMCore.bundle beside the executable's Info.plist.\n";

void print(const char* name, bool value) {
  std::printf("%s=%s\n", name, value ? "true" : "false");
  std::fflush(stdout);
}

bool readSeconds(std::string_view text, std::chrono::seconds& seconds) {
  unsigned value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  seconds = std::chrono::seconds(value);
  return error == std::errc() && end == text.data() + text.size() && value <= 3600;
}

}  // namespace

int main(int argc, char** argv) {
  std::chrono::seconds limit{10};
  if (argc < 2 || argc > 3 || (argc == 3 && !readSeconds(argv[2], limit))) {
    std::fprintf(stderr, kUsage, argv[0]);
    return 2;
  }
  std::string applicationId;
  if (!std::getline(std::ifstream(argv[1]), applicationId)) {
    std::fprintf(stderr, "%s: cannot read an application identifier\n", argv[1]);
    return 1;
  }

  std::printf("advertisingId=%s\n", zqm::ZQMCore::getIOSAdvertisingId().c_str());
  print("isStarted-before", zqm::ZQMCore::isStarted());
  const auto kit = std::make_shared<example::ExampleKit>();
  zqm::ZQMCore::startWithAppId(applicationId, {kit});
  print("kit-started", kit->waitUntilStarted(limit));
  print("isStarted-after", zqm::ZQMCore::isStarted());
  return 0;
}
