// A walk over every step at which processes that share a container of queues can be killed, and
// over every step at which one can stop while another recovers.
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "soak/SteppedJournals.h"
#include "tests/support/TemporaryDirectory.h"

namespace zqm::soak {

// What is right for an item.
enum class Fate : std::uint8_t {
  // It was never there, or was removed.
  gone,
  // It is there, once.
  pending,
  // A call with it was under way, or it could not be written yet.
  perhaps,
  // Two processes have it rightly, since one lost its descriptor.
  twice,
};

// What the processes of a walk share.
struct WalkBoard;

// Uses fork, so that the library must not have been used by the process that walks.
class QueueWalk {
 public:
  // Beyond a kill before each step.
  struct Depth {
    // A kill before each step of the recovery too.
    bool withSecondKills = false;
    // A recovery beside one that is stopped at each step.
    bool withStops = false;
    // Whether one fault is enough.
    bool untilFault = false;
  };

  explicit QueueWalk(Fault fault);
  ~QueueWalk();

  static std::vector<std::string> names();
  // The scenarios whose names contain `part`.
  void walk(const std::string& part, Depth depth);

  // What must not be, a sentence each.
  const std::vector<std::string>& faults() const { return faults_; }
  // One line for each scenario.
  const std::string& summary() const { return summary_; }

 private:
  struct Scenario;
  struct Saved;
  class Actor;
  static std::vector<Scenario> scenarios();

  void walk(const Scenario& scenario, Depth depth);
  void visit(const Saved& saved, Depth depth);
  void check();
  bool killInRecovery(const Saved& saved, long step);
  bool stopInLook(const Saved& saved, long step);
  Saved save(const std::string& where) const;
  void restore(const Saved& saved);
  std::shared_ptr<Steps> steps(long at, int signal) const;
  // How the child ended: 0, or the number of a signal.
  int run(const std::function<void()>& body);
  int end(pid_t child, const std::string& who);
  void judge(std::size_t round, const std::string& what);
  void blame(const std::string& fault);
  bool isOver(Depth depth) const { return depth.untilFault && !faults_.empty(); }

  const Fault fault_;
  const testing::TemporaryDirectory directory_;
  const std::string root_ = directory_.path() / "root";
  WalkBoard* const board_;
  std::string where_;
  std::size_t cases_ = 0;
  std::vector<std::string> faults_;
  std::string summary_;
};

}  // namespace zqm::soak
