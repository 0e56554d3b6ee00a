// System: what the lower floors need of the operating system. A port defines these functions;
// platform/posix does so for POSIX systems.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace zqm {

// Starts a detached thread with all signals blocked, so that the host's signal handlers never run
// on it. `name` (at most 15 characters) is visible in debuggers. Returns false if the system
// refuses the thread; throws if out of memory.
bool startThread(const std::string& name, std::function<void()> body);

// Fills the bytes with random numbers for identifiers. Returns false if the system has none.
bool fillWithRandom(void* bytes, std::size_t size);

// Returns the number of this process, which no other process that runs now has.
std::int64_t processNumber();

// Returns the number of forks that led from the process that loaded the library to this one.
std::uint64_t forkCount();

// Pins the shared library or plugin that contains this code: it is never unloaded, whatever the
// host closes. Waits for the dynamic loader's lock, so do not call this on the host's thread, nor
// while libraries are torn down at exit: the loader would initialise them again.
void pinThisLibrary();

// During its lifetime the C library reads and writes this thread's numbers with a point, whatever
// the host's locale.
class PointAsDecimal {
 public:
  PointAsDecimal();
  ~PointAsDecimal();
  PointAsDecimal(const PointAsDecimal&) = delete;
  PointAsDecimal& operator=(const PointAsDecimal&) = delete;

 private:
  void* before_;
};

}  // namespace zqm
