// A storm of enqueues, starts and delivery runs in several processes that share a container and are
// killed at random moments, and the account of every item.
#pragma once

#include <sys/types.h>

#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/support/TemporaryDirectory.h"

namespace zqm::soak {

// What the processes of a storm share.
struct StormBoard;

// Uses fork, so that the library must not have been used by the process that storms.
class QueueStorm {
 public:
  struct Options {
    int processes = 4;
    // Of each.
    int items = 10'000;
    int kills = 200;
    // With starts and runs.
    bool delivers = true;
    // For moments; what could not be written is then lost with a process that is killed.
    bool fillsDisk = false;
    // Another process reads every file all the time.
    bool hasReader = false;
  };

  explicit QueueStorm(Options options);
  ~QueueStorm();

  void run();

  // What must not be, a sentence each.
  const std::vector<std::string>& faults() const { return faults_; }
  std::size_t pending() const { return pending_; }
  std::string summary() const;

 private:
  // Of an item's dealings in one process, in their order.
  struct Record {
    enum class What : int { written, unwritten, sent, sentWithAllWritten } what;
    int number;
    pid_t process;
  };
  class Host;

  pid_t start(int slot);
  pid_t startReader();
  void reap(std::vector<pid_t>& running);
  void setDisk(bool mayBeFull);
  std::vector<int> readWhatIsLeft();
  std::vector<Record> records() const;
  void judge(const std::vector<int>& left);
  std::set<std::size_t> inFlight(const std::vector<Record>& records) const;

  const Options options_;
  const testing::TemporaryDirectory directory_;
  StormBoard* const board_;
  int log_ = -1;
  std::minstd_rand random_{7};
  std::set<pid_t> killed_;
  std::size_t kills_ = 0;
  std::size_t acknowledged_ = 0;
  std::size_t delivered_ = 0;
  std::size_t again_ = 0;
  std::size_t pending_ = 0;
  std::size_t unwritten_ = 0;
  std::vector<std::string> faults_;
};

}  // namespace zqm::soak
