// The current Process, its instances and the count of its work.
#include "zqm/platform/Process.h"

namespace zqm {
namespace {

thread_local Process* threadProcess = nullptr;

// Never destroyed: threads of the library may still run while the process ends.
struct Default {
  Mutex mutex;
  std::unique_ptr<Platform> platform ZQM_GUARDED_BY(mutex);
  std::atomic<Process*> process = nullptr;
};

Default& theDefault() {
  static auto& instance = *new Default;
  return instance;
}

}  // namespace

Process::Process(Platform platform) : platform_(std::move(platform)) {}

Process::~Process() {
  drain();
  const Scope scope(*this);
  std::vector<std::shared_ptr<void>> made;
  {
    const MutexLock lock(mutex_);
    slots_.clear();
    made.swap(made_);
  }
  while (!made.empty()) made.pop_back();
  // What a notifier let through while it was being stopped.
  drain();
}

Process& Process::current() {
  if (threadProcess) return *threadProcess;
  Default& shared = theDefault();
  if (Process* process = shared.process.load(std::memory_order_acquire)) return *process;
  const MutexLock lock(shared.mutex);
  if (!shared.process) {
    shared.process =
        new Process(shared.platform ? std::move(*shared.platform) : makeDefaultPlatform());
    shared.platform.reset();
  }
  return *shared.process;
}

bool Process::setDefaultPlatform(Platform platform) {
  Default& shared = theDefault();
  const MutexLock lock(shared.mutex);
  if (shared.process) return false;
  shared.platform = std::make_unique<Platform>(std::move(platform));
  return true;
}

Process::Scope::Scope(Process& process) : before_(threadProcess) { threadProcess = &process; }

Process::Scope::~Scope() { threadProcess = before_; }

std::shared_ptr<void> Process::beginWork() {
  const MutexLock lock(mutex_);
  ++work_;
  return {nullptr, [this](void*) {
            const MutexLock inner(mutex_);
            if (--work_ == 0) idle_.notifyAll();
          }};
}

void Process::drain() {
  const MutexLock lock(mutex_);
  while (work_ > 0) idle_.wait(mutex_);
}

Process::Slot& Process::slotFor(const void* key) {
  const MutexLock lock(mutex_);
  auto& slot = slots_[key];
  if (!slot) slot = std::make_unique<Slot>();
  return *slot;
}

void* Process::instance(const void* slot, const std::function<std::shared_ptr<void>()>& make) {
  Slot& found = slotFor(slot);
  std::call_once(found.once, [&] {
    found.value = make();
    const MutexLock lock(mutex_);
    made_.push_back(found.value);
  });
  return found.value.get();
}

}  // namespace zqm
