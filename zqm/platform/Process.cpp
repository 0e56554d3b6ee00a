// The current Process, its instances and the number of its wrappers.
#include "zqm/platform/Process.h"

#include "zqm/crypto/openssl/OpenSslGate.h"

namespace zqm {
namespace {

thread_local Process* threadProcess = nullptr;

// Never destroyed: threads of the library may still run while the process exits.
struct Default {
  Mutex mutex;
  std::function<Platform()> makePlatform ZQM_GUARDED_BY(mutex);
  std::atomic<Process*> process = nullptr;
};

Default& theDefault() {
  static auto& instance = *new Default;
  return instance;
}

}  // namespace

Process::Process(Platform platform)
    : Process([platform = std::move(platform)] { return platform; }) {}

Process::Process(std::function<Platform()> makePlatform) : makePlatform_(std::move(makePlatform)) {
  OpenSslGate::closeAtExit();
}

Process::~Process() {
  drain();
  const Scope scope(*this);
  std::vector<std::shared_ptr<void>> made;
  {
    const MutexLock lock(mutex_);
    slots_.clear();
    made.swap(inOrder_);
    for (auto& each : made_) each = nullptr;
  }
  while (!made.empty()) made.pop_back();
  // For the callbacks that a notifier began while it was being stopped.
  drain();
}

Process& Process::current() {
  if (threadProcess) return *threadProcess;
  Default& shared = theDefault();
  if (Process* process = shared.process.load(std::memory_order_acquire)) return *process;
  const MutexLock lock(shared.mutex);
  if (!shared.process) {
    shared.process =
        new Process(shared.makePlatform ? std::move(shared.makePlatform) : defaultPlatform());
  }
  return *shared.process;
}

bool Process::setDefaultPlatform(std::function<Platform()> makePlatform) {
  Default& shared = theDefault();
  const MutexLock lock(shared.mutex);
  if (shared.process) return false;
  shared.makePlatform = std::move(makePlatform);
  return true;
}

const Platform& Process::platform() const { return platform_.get(makePlatform_); }

Process::Scope::Scope(Process& process) : before_(threadProcess) { threadProcess = &process; }

Process::Scope::~Scope() { threadProcess = before_; }

std::shared_ptr<void> Process::beginWork() {
  {
    const MutexLock lock(mutex_);
    ++work_;
  }
  // Without memory for the token, shared_ptr calls this deleter at once.
  return {nullptr, [this](void*) {
            const MutexLock lock(mutex_);
            if (--work_ == 0) idle_.notifyAll();
          }};
}

void Process::drain() {
  const MutexLock lock(mutex_);
  while (work_ > 0) idle_.wait(mutex_);
}

std::size_t Process::newSlot() {
  static std::atomic<std::size_t> last = 0;
  return ++last;
}

Process::Slot& Process::slotFor(std::size_t number) {
  const MutexLock lock(mutex_);
  return slots_[number];
}

void* Process::instance(std::size_t slot, const std::function<std::shared_ptr<void>()>& make) {
  const auto makeInOrder = [&] {
    auto made = make();
    const MutexLock lock(mutex_);
    inOrder_.push_back(made);
    if (slot < made_.size()) made_[slot].store(made.get(), std::memory_order_release);
    return made;
  };
  return slotFor(slot).get(makeInOrder).get();
}

}  // namespace zqm
