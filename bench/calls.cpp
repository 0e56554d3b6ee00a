// Prints what one enqueue and one removal ask of the kernel, at several lengths of the queue.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "bench/Installation.h"
#include "bench/PendingQueue.h"
#include "bench/Row.h"
#include "bench/SystemCalls.h"
#include "tests/support/TemporaryDirectory.h"

namespace zqm::bench {
namespace {

// As many in each row, so that the queue grows or shrinks by as many items; several times the
// number of UUIDs for which random numbers are fetched at once.
constexpr std::size_t kCalls = 32;

void makeCalls(const std::function<void()>& call) {
  // What only the first one does is not its price.
  call();
  for (std::size_t made = 0; made < kCalls; ++made) {
    mark(Mark::call);
    call();
  }
  mark(Mark::end);
  Process::current().drain();
  mark(Mark::settled);
}

void printRows(const std::string& name, const SystemCalls& calls) {
  const auto count = static_cast<double>(calls.perCall.size());
  print({name + ": bytes written",
         {static_cast<double>(calls.bytesWritten) / count},
         Unit::bytes,
         {},
         1500});
  std::string which;
  for (const auto& [call, times] : calls.byName) {
    char text[64];
    std::snprintf(text, sizeof text, ", %s %.3g", call.c_str(), static_cast<double>(times) / count);
    which += text;
  }
  print({name + ": system calls" + which,
         {calls.perCall.begin(), calls.perCall.end()},
         Unit::count,
         {},
         4});
}

// Nobody listens to these installations: neither call needs a backend.
class Counted {
 public:
  void run(const std::string& name, std::size_t pending, void (*call)()) {
    printRows(
        name, countSystemCalls([&] {
          Process process(makeLinuxPlatform({.mainPackage = sandbox_.hostPackage().string(),
                                             .userDataDirectory = directory_.path() / "data"}));
          const Process::Scope scope(process);
          ZQMQueueRule::sharedInstance().refreshQueue(pendingQueue(pending));
          makeCalls(call);
        }));
  }

 private:
  const testing::TemporaryDirectory directory_;
  const tools::Sandbox sandbox_ =
      tools::Sandbox::create(directory_.path() / "sandbox", tools::makeIntegratorKey(),
                             {.backendUrl = "http://127.0.0.1:9/"});
};

void appendOne() {
  static const int file = ::open(std::filesystem::temp_directory_path().c_str(),
                                 O_TMPFILE | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
  const Bytes body = queueBody(0);
  if (::write(file, body.data(), body.size()) < 0) throw std::runtime_error("not written");
}

int run() {
  Counted counted;
  for (const std::size_t pending : {0, 1000, 10000}) {
    counted.run("enqueue, from " + std::to_string(pending) + " pending", pending, enqueueOne);
  }
  for (const std::size_t pending : {0, 1000, 10000}) {
    counted.run("remove, down to " + std::to_string(pending) + " pending", pending + kCalls + 1,
                removeFirst);
  }
  counted.run("floor: append of 300 bytes", 0, appendOne);
  return 0;
}

}  // namespace
}  // namespace zqm::bench

int main() { return zqm::bench::run(); }
