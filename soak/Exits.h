// Launches of hosts that end while the library is at work, with what they need around them.
#pragma once

#include <string>
#include <vector>

#include "soak/ExitHost.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TestAuthority.h"
#include "tools/zqm/Backend.h"
#include "tools/zqm/Program.h"
#include "tools/zqm/Sandbox.h"

namespace zqm::soak {

class Exits {
 public:
  static constexpr const char* kSituations[] = {"stalled", "queued", "pending"};
  static constexpr const char* kEndings[] = {"exit", "return"};
  static constexpr std::size_t kPending = 10000;

  // `program` calls `runExitHost`.
  Exits(std::string program, std::vector<std::string> arguments);

  struct Outcome {
    // "code 7"; see tools::ProgramRun.
    std::string end;
    // From the call of exit, or the return, until the process was gone.
    std::chrono::duration<double, std::milli> took{};
  };

  // `delay` is that of the situation "launching".
  Outcome launch(const std::string& situation, const std::string& ending,
                 std::chrono::microseconds delay = {});

 private:
  static tools::ServerReply stall(const tools::ServerRequest&);
  void makePending() const;

  const std::string program_;
  const std::vector<std::string> arguments_;
  const testing::TemporaryDirectory root_;
  testing::TestAuthority authority_;
  const tools::HttpServer silent_{stall, authority_.issue("IP:127.0.0.1")};
  const tools::IntegratorKey key_ = tools::makeIntegratorKey();
  tools::Backend backend_{key_.certificate};
  const tools::Sandbox sandbox_ =
      tools::Sandbox::create(root_.path() / "sandbox", key_, {.backendUrl = backend_.url()});
};

}  // namespace zqm::soak
