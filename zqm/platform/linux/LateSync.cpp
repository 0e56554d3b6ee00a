// The thread that syncs, and when it looks.
#include "zqm/platform/linux/LateSync.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

#include "zqm/base/Exception.h"
#include "zqm/base/Mutex.h"
#include "zqm/base/WorkerPool.h"

namespace zqm {
namespace {

constexpr std::chrono::milliseconds kDelay{400};
// How often the thread looks in vain before it sleeps until it is woken.
constexpr int kVainLooks = 4;

using File = std::shared_ptr<OpenFile>;

}  // namespace

bool OpenFile::sync() {
  if (fdatasync(descriptor.get()) != 0) isLost = true;
  return !isLost;
}

struct LateSync::State {
  Mutex mutex;
  Condition wake;
  std::vector<File> files ZQM_GUARDED_BY(mutex);
  bool started ZQM_GUARDED_BY(mutex) = false;
  bool sleeps ZQM_GUARDED_BY(mutex) = false;
  bool closing ZQM_GUARDED_BY(mutex) = false;

  // What was written in the last moments; sleeps after some vain looks. Nothing, at the end.
  std::vector<File> next(int& vainLooks) ZQM_EXCLUDES(mutex) {
    const MutexLock lock(mutex);
    sleeps = files.empty() && vainLooks >= kVainLooks;
    while (sleeps && files.empty() && !closing) wake.wait(mutex);
    vainLooks = files.empty() ? vainLooks + 1 : 0;
    // Woken just now: what follows soon is synced with it.
    if (std::exchange(sleeps, false) && !closing) return {};
    return std::exchange(files, {});
  }

  bool isOver() ZQM_EXCLUDES(mutex) {
    const MutexLock lock(mutex);
    return closing && files.empty();
  }

  void run() {
    int vainLooks = 0;
    while (!isOver()) {
      for (const File& file : next(vainLooks)) file->sync();
      bool waits = true;
      {
        const MutexLock lock(mutex);
        waits = !closing;
      }
      if (waits) std::this_thread::sleep_for(kDelay);
    }
  }
};

LateSync::LateSync() : state_(std::make_shared<State>()) {}

LateSync::~LateSync() {
  const MutexLock lock(state_->mutex);
  state_->closing = true;
  state_->wake.notifyAll();
}

void LateSync::request(const File& file) {
  const bool isTaken = guarded(
      [&] {
        const MutexLock lock(state_->mutex);
        if (std::ranges::find(state_->files, file) != state_->files.end()) return;
        state_->files.push_back(file);
        if (state_->sleeps) state_->wake.notifyOne();
      },
      [](const Exception&) {});
  if (!isTaken) file->sync();
  {
    const MutexLock lock(state_->mutex);
    if (std::exchange(state_->started, true)) return;
  }
  bool isStarted = false;
  guarded([&] { isStarted = startThread("zqm-sync", [state = state_] { state->run(); }); },
          [](const Exception&) {});
  if (isStarted) return;
  const MutexLock lock(state_->mutex);
  state_->started = false;
}

}  // namespace zqm
