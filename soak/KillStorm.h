// A storm of enqueues, removals and deliveries in a process of its own, over real files and HTTP,
// that is killed again and again, and the account of what each kill left.
#pragma once

#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/support/TemporaryDirectory.h"
#include "tools/zqm/Backend.h"
#include "tools/zqm/Sandbox.h"
#include "zqm/base/Mutex.h"
#include "zqm/platform/Platform.h"

namespace zqm::soak {

// In the process that will be killed: tells on its standard output of each change after the call
// has returned, and of a removal before it too. Never returns.
[[noreturn]] void runStorm();

class KillStorm {
 public:
  // `program` calls `runStorm`.
  KillStorm(std::string program, std::vector<std::string> arguments);

  // One launch that is killed, and a look at what it left.
  void kill();
  // A launch in peace that delivers what is left.
  void finish();

  // What must not be, a sentence each.
  const std::vector<std::string>& faults() const { return faults_; }
  // "200 kills, 190 after the start; ...".
  std::string summary() const;

 private:
  using Numbers = std::set<int>;

  struct Told {
    bool started = false;
    Numbers enqueued;
    Numbers toRemove;
    Numbers removed;
  };

  Platform platform() const;
  void setWeather();
  Told launchAndKill();
  Numbers readWhatIsLeft(bool mustBeRegistered);
  void judge(const Told& told, const Numbers& left, const std::map<int, int>& answered);
  std::map<int, int> takeAnswered();
  void blame(const std::string& fault);

  const std::string program_;
  const std::vector<std::string> arguments_;
  Mutex mutex_;
  // How often an item was taken since the last launch.
  std::map<int, int> answered_ ZQM_GUARDED_BY(mutex_);
  const testing::TemporaryDirectory root_;
  const tools::IntegratorKey key_ = tools::makeIntegratorKey();
  tools::Backend backend_{key_.certificate};
  const tools::Sandbox sandbox_ =
      tools::Sandbox::create(root_.path() / "sandbox", key_, {.backendUrl = backend_.url()});
  std::minstd_rand random_{7};
  // Grows until launches live long enough to start.
  std::chrono::milliseconds longestLife_{60};

  // What the queue holds as far as was told, and what has left it for ever.
  Numbers left_;
  Numbers gone_;
  std::size_t kills_ = 0;
  std::size_t starts_ = 0;
  std::size_t enqueued_ = 0;
  std::size_t delivered_ = 0;
  std::size_t removed_ = 0;
  std::size_t inFlight_ = 0;
  std::vector<std::string> faults_;
};

}  // namespace zqm::soak
