// Who is inside OpenSSL, and the exit handler that waits for them.
#include "zqm/platform/OpenSslGate.h"

#include <openssl/crypto.h>
#include <unistd.h>

#include <cstdlib>

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
  // Handlers run in reverse order, so OpenSSL's has to be there first. Without options this reads
  // no configuration and leaves that choice to the host.
  if (OPENSSL_init_crypto(0, nullptr) == 1) {
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

bool enter() {
  Gate& gate = theGate();
  if (exiting) return false;
  const MutexLock lock(gate.mutex);
  if (depth == 0) {
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

}  // namespace

OpenSslGate::OpenSslGate() : entered_(enter()) {}

OpenSslGate::~OpenSslGate() {
  if (entered_) leave();
}

}  // namespace zqm
