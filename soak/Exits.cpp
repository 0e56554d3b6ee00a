// The launches.
#include "soak/Exits.h"

#include "bench/PendingQueue.h"
#include "zqm/platform/linux/LinuxPlatform.h"

namespace zqm::soak {

Exits::Exits(std::string program, std::vector<std::string> arguments)
    : program_(std::move(program)), arguments_(std::move(arguments)) {
  for (const char* service : {"config/config", "device/initialize"}) {
    backend_.answerWith(service, tools::ServerReply{.misbehaviour = tools::Misbehaviour::stall});
  }
}

tools::ServerReply Exits::stall(const tools::ServerRequest&) {
  return {.misbehaviour = tools::Misbehaviour::stall};
}

// Every launch is an installation's first.
Exits::Outcome Exits::launch(const std::string& situation, const std::string& ending,
                             std::chrono::microseconds delay) {
  const std::filesystem::path data = root_.path() / "data";
  std::filesystem::remove_all(data);
  if (situation == "pending") makePending();
  const auto run = tools::runProgram(program_, arguments_,
                                     {{kExitPackage, sandbox_.hostPackage()},
                                      {kExitData, data},
                                      {kExitApplicationId, sandbox_.applicationId()},
                                      {kExitUrl, silent_.url("/")},
                                      {kExitAuthorities, authority_.authoritiesFile()},
                                      {kExitSituation, situation},
                                      {kExitDelay, std::to_string(delay.count())},
                                      {kExitEnding, ending}},
                                     std::chrono::seconds(30));
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  Outcome outcome{run.end};
  if (const std::string ended = run.value("ending"); ended != "nothing") {
    outcome.took = now - std::chrono::nanoseconds(std::stoll(ended));
  } else {
    outcome.end = "before its time, " + outcome.end;
  }
  return outcome;
}

void Exits::makePending() const {
  Process process(makeLinuxPlatform(
      {.mainPackage = sandbox_.hostPackage(), .userDataDirectory = root_.path() / "data"}));
  const Process::Scope scope(process);
  ZQMQueueRule::sharedInstance().refreshQueue(bench::pendingQueue(kPending));
}

}  // namespace zqm::soak
