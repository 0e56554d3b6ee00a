// One launch of a host in a fresh process: what the start call costs its thread, and what the
// process has grown by once the backend has accepted. Prints "name value" lines.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>

#include "bench/Installation.h"
#include "zqm/core/ZQMCore.h"

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

int launch(const char* mainPackage, const char* dataDirectory, const char* appIdFile) {
  std::string appId;
  std::getline(std::ifstream(appIdFile), appId);
  const long resident = status("VmRSS");
  const long anonymous = status("RssAnon");
  const auto begin = Clock::now();
  zqm::Process::setDefaultPlatform(
      zqm::makeLinuxPlatform({.mainPackage = mainPackage, .userDataDirectory = dataDirectory}));
  zqm::ZQMCore::startWithAppId(appId, {});
  const std::chrono::duration<double, std::micro> call = Clock::now() - begin;
  const auto limit = begin + std::chrono::seconds(20);
  while (!zqm::ZQMCore::isStarted() && Clock::now() < limit) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  if (!zqm::ZQMCore::isStarted()) return 1;
  std::printf("first-start-call-us %.0f\n", call.count());
  std::printf("resident-growth-KiB %ld\n", status("VmRSS") - resident);
  std::printf("anonymous-growth-KiB %ld\n", status("RssAnon") - anonymous);
  std::printf("threads-after-start %ld\n", status("Threads") - 1);
  std::this_thread::sleep_for(std::chrono::seconds(10));
  std::printf("threads-after-10-s %ld\n", status("Threads") - 1);
  return 0;
}

// The backend stays in this process, so that the host's figures are its own.
int serve(char* program) {
  zqm::bench::Sandboxed sandboxed;
  std::string package = sandboxed.sandbox.hostPackage().string();
  std::string data = (sandboxed.root / "launch").string();
  std::string appId = sandboxed.sandbox.applicationIdFile().string();
  char* arguments[] = {program, package.data(), data.data(), appId.data(), nullptr};
  pid_t child = 0;
  int result = 1;
  if (::posix_spawn(&child, "/proc/self/exe", nullptr, nullptr, arguments, ::environ) != 0 ||
      ::waitpid(child, &result, 0) != child) {
    return 1;
  }
  return WIFEXITED(result) ? WEXITSTATUS(result) : 1;
}

}  // namespace

int main(int count, char** arguments) {
  return count == 4 ? launch(arguments[1], arguments[2], arguments[3]) : serve(arguments[0]);
}
