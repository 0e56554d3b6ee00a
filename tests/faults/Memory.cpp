// Requests for memory. The standard library's other forms call these.
#include <sys/prctl.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "tests/faults/Faults.h"

namespace zqm::testing {
namespace {

constinit Countdown requests;
constinit std::atomic<const char*> onlyThread = nullptr;

bool isOfThread(const char* wanted) {
  char name[16] = "";
  return !wanted || (prctl(PR_GET_NAME, name) == 0 && std::strcmp(name, wanted) == 0);
}

void* allocated(std::size_t size) {
  const bool counts = requests.isSet() && !isSpared && isOfThread(onlyThread);
  if (counts && requests.isDue()) return nullptr;
  return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

MemoryFault::MemoryFault(Fault fault, const char* thread) {
  onlyThread = thread;
  requests.begin(fault);
}

void MemoryFault::end() { requests.end(); }

bool MemoryFault::hasHappened() { return requests.hasHappened(); }

}  // namespace zqm::testing

void* operator new(std::size_t size) {
  if (void* const made = zqm::testing::allocated(size)) return made;
  throw std::bad_alloc();
}

void operator delete(void* made) noexcept { std::free(made); }

void operator delete(void* made, std::size_t) noexcept { std::free(made); }
