// Threads, entropy, forks, call stacks, pinning and the thread's locale, by POSIX and common
// extensions.
#include "zqm/base/System.h"

#include <dlfcn.h>
#include <link.h>
#include <locale.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <memory>

#include "zqm/base/Exception.h"

#if __has_include(<execinfo.h>)
#include <execinfo.h>
#endif

namespace zqm {
namespace {

std::atomic<std::uint64_t> forks = 0;

// Blocks all signals of the calling thread for the scope.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

// Under SCHED_BATCH, waking the thread does not preempt the host's threads.
void yieldToHost() {
#ifdef SCHED_BATCH
  const sched_param none{};
  pthread_setschedparam(pthread_self(), SCHED_BATCH, &none);
#endif
}

// The argument of `runThread`. std::thread is not used because its first use in a process searches
// every loaded library for pthread_create.
struct ThreadStart {
  std::string name;
  std::function<void()> body;
};

void* runThread(void* argument) {
  const std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(argument));
  // The thread names itself, because naming another thread writes to a file of the system.
  pthread_setname_np(pthread_self(), start->name.c_str());
  yieldToHost();
  // An exception must not end the host's process.
  guarded(start->body);
  return nullptr;
}

}  // namespace

bool startThread(const std::string& name, std::function<void()> body) {
  std::unique_ptr<ThreadStart> start(new ThreadStart{name.substr(0, 15), std::move(body)});
  pthread_attr_t detached;
  if (pthread_attr_init(&detached) != 0) return false;
  pthread_attr_setdetachstate(&detached, PTHREAD_CREATE_DETACHED);
  // A new thread inherits the mask, so no signal can be delivered to it even before it runs.
  const SignalsBlocked blocked;
  pthread_t thread{};
  const bool started = pthread_create(&thread, &detached, runThread, start.get()) == 0;
  pthread_attr_destroy(&detached);
  // The thread owns it from here on.
  if (started) static_cast<void>(start.release());
  return started;
}

bool fillWithRandom(void* bytes, std::size_t size) { return getentropy(bytes, size) == 0; }

std::int64_t processNumber() { return getpid(); }

std::uint64_t forkCount() {
  static const int registered = pthread_atfork(nullptr, nullptr, [] { ++forks; });
  static_cast<void>(registered);
  return forks;
}

std::vector<std::string> callStackSymbols() {
  std::vector<std::string> symbols;
#if __has_include(<execinfo.h>)
  void* frames[64];
  const int count = backtrace(frames, 64);
  const std::unique_ptr<char*, decltype(&std::free)> lines(backtrace_symbols(frames, count),
                                                           &std::free);
  // Skips the first frame, which is this function.
  for (int i = 1; lines && i < count; ++i) symbols.emplace_back(lines.get()[i]);
#endif
  return symbols;
}

void pinThisLibrary() {
  Dl_info found{};
  link_map* map = nullptr;
  if (dladdr1(reinterpret_cast<const void*>(&pinThisLibrary), &found,
              reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0) {
    return;
  }
  // The program itself has no name.
  if (!map || !map->l_name || !*map->l_name) return;
  static_cast<void>(dlopen(map->l_name, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE));
}

PointAsDecimal::PointAsDecimal() {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  before_ = uselocale(plain);
}

PointAsDecimal::~PointAsDecimal() { uselocale(static_cast<locale_t>(before_)); }

}  // namespace zqm
