// Who is inside OpenSSL, and the exit handler that waits for them.
#include "zqm/platform/OpenSslGate.h"

#include <openssl/crypto.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "zqm/base/Mutex.h"

namespace zqm {
namespace {

// Trivial, so that they can still be read while the process exits.
thread_local std::size_t depth = 0;
thread_local bool exiting = false;

struct Gate {
  Mutex mutex;
  Condition left;
  std::size_t inside ZQM_GUARDED_BY(mutex) = 0;
  bool closed ZQM_GUARDED_BY(mutex) = false;
  const pid_t process = getpid();
};

Gate& theGate();

void closeAtExit() {
  Gate& gate = theGate();
  exiting = true;
  // The threads that were inside when a process forked do not exist in its child.
  if (getpid() != gate.process) return;
  const MutexLock lock(gate.mutex);
  gate.closed = true;
  const std::size_t own = depth > 0 ? 1 : 0;
  while (gate.inside > own) gate.left.wait(gate.mutex);
}

Gate* openGate() {
  auto* gate = new Gate;
  // Handlers run in reverse order, so OpenSSL's has to be there first. It comes with any option
  // (with none this call does nothing); this one leaves the choice of configuration to the host.
  if (OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr) == 1) {
    std::atexit(closeAtExit);
    return gate;
  }
  // OpenSSL has been torn down before it was ever needed here.
  exiting = true;
  const MutexLock lock(gate->mutex);
  gate->closed = true;
  return gate;
}

Gate& theGate() {
  static auto& gate = *openGate();
  return gate;
}

bool enter(bool evenIfForEver) {
  Gate& gate = theGate();
  if (exiting) return false;
  const MutexLock lock(gate.mutex);
  if (depth == 0) {
    if (gate.closed && !evenIfForEver) return false;
    while (gate.closed) gate.left.wait(gate.mutex);
    ++gate.inside;
  }
  ++depth;
  return true;
}

void leave() {
  if (--depth > 0) return;
  Gate& gate = theGate();
  const MutexLock lock(gate.mutex);
  --gate.inside;
  if (gate.closed) gate.left.notifyAll();
}

// OpenSSL frees a thread's own data when the thread ends, which must not meet the exit either. The
// exiting thread may be about to join this one, so this waits only until OpenSSL is surely gone.
struct ThreadEnd {
  ~ThreadEnd() {
    if (enter(false)) {
      OPENSSL_thread_stop();
      leave();
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
  }
};

bool enterForGood() {
  thread_local const ThreadEnd atEnd;
  return enter(true);
}

}  // namespace

OpenSslGate::OpenSslGate() : entered_(enterForGood()) {}

OpenSslGate::~OpenSslGate() {
  if (entered_) leave();
}

}  // namespace zqm
