// Counts the threads inside OpenSSL; exit handlers wait for them.
#include "zqm/crypto/openssl/OpenSslGate.h"

#include <openssl/crypto.h>

#include <chrono>
#include <cstdlib>
#include <new>
#include <thread>

#include "zqm/base/Lazy.h"
#include "zqm/base/Mutex.h"
#include "zqm/base/System.h"

namespace zqm {
namespace {

// Trivially destructible, so that they can still be read while the process exits.
thread_local std::size_t depth = 0;
thread_local bool exiting = false;

struct Gate {
  Mutex mutex;
  Condition changed;
  std::size_t inside ZQM_GUARDED_BY(mutex) = 0;
  bool closed ZQM_GUARDED_BY(mutex) = false;
  // Whether OpenSSL could be initialised; set by the first thread inside.
  Lazy<bool> openSsl;
  const std::uint64_t forks = forkCount();
};

Gate& theGate() {
  static auto& gate = *new Gate;
  return gate;
}

void closeForGood() {
  Gate& gate = theGate();
  exiting = true;
  // The threads that were inside when a process forked do not exist in its child.
  if (forkCount() != gate.forks) return;
  const MutexLock lock(gate.mutex);
  gate.closed = true;
  const std::size_t own = depth > 0 ? 1 : 0;
  while (gate.inside > own) gate.changed.wait(gate.mutex);
}

// Exit handlers run in reverse order: this one before OpenSSL's own, which refuses all service to
// the threads inside as soon as it begins.
bool registerExit() { return std::atexit(closeForGood) == 0; }

// OpenSSL calls the handlers of its own list before it tears anything down, at exit and in
// OPENSSL_cleanup. Ours is added before the initialisation, for an exit during that and for hosts
// that call OPENSSL_cleanup. It cannot be removed again, hence the pin. Returns false if OpenSSL
// has already been torn down.
bool initialiseOpenSsl() {
  pinThisLibrary();
  if (OPENSSL_atexit(closeForGood) != 1) throw std::bad_alloc();
  return OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr) == 1 && registerExit();
}

bool enter(bool evenIfForEver) {
  Gate& gate = theGate();
  if (exiting) return false;
  const MutexLock lock(gate.mutex);
  if (depth == 0) {
    if (gate.closed && !evenIfForEver) return false;
    while (gate.closed) gate.changed.wait(gate.mutex);
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
  if (gate.closed) gate.changed.notifyAll();
}

// Refuses the calling thread, which may be the exiting one, and closes the gate for the others.
void closeUnopened() {
  leave();
  Gate& gate = theGate();
  const MutexLock lock(gate.mutex);
  // Another thread began the exit first.
  while (gate.closed) gate.changed.wait(gate.mutex);
  gate.closed = exiting = true;
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
  if (!enter(true)) return false;
  try {
    if (theGate().openSsl.get(initialiseOpenSsl)) return true;
  } catch (...) {
    leave();
    throw;
  }
  closeUnopened();
  return false;
}

}  // namespace

void OpenSslGate::closeAtExit() {
  static const bool isRegistered = registerExit();
  static_cast<void>(isRegistered);
}

OpenSslGate::OpenSslGate() : entered_(enterForGood()) {}

OpenSslGate::~OpenSslGate() {
  if (entered_) leave();
}

}  // namespace zqm
