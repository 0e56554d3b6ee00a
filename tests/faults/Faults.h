// Lets a test make this program's memory allocations (operator new) and its operations on files
// below one directory fail; counts them, and records what changes a file. Replaces the system's
// functions in this program only.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zqm::testing {

// The n-th request from the beginning fails, counted from 1, or every one from it on. 0 is none.
struct Fault {
  std::int64_t nth = 0;
  bool lasts = false;
};

// Counts requests down to the one that fails.
class Countdown {
 public:
  void begin(Fault fault) {
    happened_ = false;
    lasts_ = fault.lasts;
    left_ = fault.nth;
    isSet_ = true;
  }
  void end() { isSet_ = false; }
  bool isSet() const { return isSet_; }
  bool hasHappened() const { return happened_; }
  bool isOver() const { return happened_ && !lasts_; }
  bool isDue() {
    if (!isSet_) return false;
    const std::int64_t left = --left_;
    const bool isDue = left == 0 || (left < 0 && lasts_);
    if (isDue) happened_ = true;
    return isDue;
  }

 private:
  std::atomic<bool> isSet_ = false;
  std::atomic<bool> happened_ = false;
  std::atomic<bool> lasts_ = false;
  std::atomic<std::int64_t> left_ = 0;
};

// For a scope, on every thread of the program or on the threads of one name.
struct MemoryFault {
  explicit MemoryFault(Fault fault, const char* thread = nullptr);
  ~MemoryFault() { end(); }
  MemoryFault(const MemoryFault&) = delete;
  MemoryFault& operator=(const MemoryFault&) = delete;

  // Ends it early.
  static void end();
  // Whether there were enough requests for one to fail.
  static bool hasHappened();
};

// For a scope; the operation fails with that errno. A file system without space, or that is
// read-only, fails the operations that change something. A write fails after its first half.
struct FileFault {
  FileFault(Fault fault, int error);
  ~FileFault() { end(); }
  FileFault(const FileFault&) = delete;
  FileFault& operator=(const FileFault&) = delete;

  static void end();
  static bool hasHappened();
  // Whether it has happened and does not last.
  static bool isOver();
};

// For a scope, a file system without locks, and that cannot rename without replacing.
struct OldFileSystem {
  OldFileSystem();
  ~OldFileSystem();
  OldFileSystem(const OldFileSystem&) = delete;
  OldFileSystem& operator=(const OldFileSystem&) = delete;
};

// Set where this thread's requests do not count.
inline thread_local constinit bool isSpared = false;
template <class Work>
auto spared(const Work& work) {
  const bool before = std::exchange(isSpared, true);
  auto result = work();
  isSpared = before;
  return result;
}

// One change of what a disk holds. A file is known by a number of its own, and by the names that
// it has in its directories.
struct FileStep {
  enum Kind { name, unname, rename, write, cut, sync, mark } kind = mark;
  int file = 0;
  // The name, or what the synced file or directory was opened as.
  std::string path = {};
  // The new name, or what was written.
  std::string content = {};
  // To which it was cut.
  std::size_t size = 0;
};

// Only files below that directory are counted, fail and are recorded; their syncs do nothing else.
void watchFiles(const std::string& directory);
// Everything since the directory is watched.
std::vector<FileStep> recordedSteps();
// Puts a mark among the steps.
void recordMark();

}  // namespace zqm::testing
