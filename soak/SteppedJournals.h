// Journals of which each change and each opening is a step, before which the process can be killed
// or stopped, and which can be made faulty.
#pragma once

#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "zqm/platform/Journals.h"

namespace zqm::soak {

// What a library might do wrong.
enum class Fault {
  none,
  // Recovers the files of a directory beside others that do.
  noTurn,
  // A file does not tell whose items it holds.
  noIds,
  // A file that is written anew has the id of the one before.
  keptId,
  // A file has its name before its lock.
  lateLock,
};

// Of one process; any thread.
class Steps {
 public:
  enum class What {
    takeTurn,
    names,
    open,
    create,
    syncDirectory,
    append,
    // Half of it is written already.
    halfAppend,
    cut,
    sync,
    takeName,
    lock,
    replace,
    addName,
    removeName,
  };

  // The number of the step, from 1 on, at which the process gets the signal; 0 for none.
  long at = 0;
  int signal = SIGKILL;
  Fault fault = Fault::none;
  // Called before each step, on its thread.
  std::function<void(What)> before;
  std::atomic<bool> isFull = false;
  std::atomic<bool> hasLocks = true;

  std::atomic<long> refused = 0;
  // Whether something that was refused, or whose file was lost, is still not in a file.
  std::atomic<bool> isBehind = false;
  // New files that have got a name.
  std::atomic<long> named = 0;

  void take(What what);
  long count() const { return count_; }

 private:
  std::atomic<long> count_ = 0;
};

// On a full disk half of a piece is written, and no file can be created. Without locks there is no
// turn to be had.
class SteppedJournals : public Journals {
 public:
  SteppedJournals(std::shared_ptr<Journals> real, std::shared_ptr<Steps> steps)
      : real_(std::move(real)), steps_(std::move(steps)) {}

  Turn takeTurn(const std::string& directory, std::shared_ptr<void>& token) override;
  std::vector<std::string> names(const std::string& directory) override;
  Bytes begin(const std::string& path) override { return real_->begin(path); }
  Opened open(const std::string& path, bool locks) override;
  std::unique_ptr<JournalFile> create(const std::string& directory, bool locks) override;
  bool sync(const std::string& directory) override;
  std::uint64_t generation() override { return real_->generation(); }

 private:
  const std::shared_ptr<Journals> real_;
  const std::shared_ptr<Steps> steps_;
  // Of the file that has its name; 0 for none.
  const std::shared_ptr<std::atomic<std::uint64_t>> id_ =
      std::make_shared<std::atomic<std::uint64_t>>(0);
};

// The open descriptors whose files are in a directory.
std::set<int> descriptorsIn(const std::string& directory);

}  // namespace zqm::soak
