// Posts tasks and calls observers; lets no exception of either reach the host.
#include "zqm/platform/linux/host/LinuxMainThread.h"

#include <list>

#include "zqm/base/Exception.h"
#include "zqm/base/Mutex.h"

namespace zqm {
namespace {

using Observer = std::function<void(const std::shared_ptr<void>&)>;

struct Entry {
  std::string name;
  std::shared_ptr<const Observer> observer;
};

}  // namespace

struct LinuxMainThread::Observers {
  Mutex mutex;
  std::list<Entry> entries ZQM_GUARDED_BY(mutex);

  std::vector<std::shared_ptr<const Observer>> named(std::string_view name) {
    std::vector<std::shared_ptr<const Observer>> found;
    const MutexLock lock(mutex);
    for (const Entry& entry : entries) {
      if (entry.name == name) found.push_back(entry.observer);
    }
    return found;
  }

  void remove(std::list<Entry>::iterator place) {
    // The observer is destroyed after the mutex is released.
    std::list<Entry> gone;
    const MutexLock lock(mutex);
    gone.splice(gone.begin(), entries, place);
  }
};

LinuxMainThread::LinuxMainThread(Poster poster)
    : poster_(std::move(poster)), observers_(std::make_shared<Observers>()) {}

void LinuxMainThread::post(std::function<void()> task) {
  auto safe = [task = std::move(task)] { guarded(task); };
  guarded([&] { poster_ ? poster_(std::move(safe)) : ownThread_.submit(std::move(safe)); });
}

void LinuxMainThread::notify(std::string_view name, const std::shared_ptr<void>& object) {
  for (const auto& observer : observers_->named(name)) {
    guarded([&] { (*observer)(object); });
  }
}

std::shared_ptr<void> LinuxMainThread::observe(std::string_view name, Observer observer) {
  const auto observers = observers_;
  const MutexLock lock(observers->mutex);
  observers->entries.push_back(
      {std::string(name), std::make_shared<const Observer>(std::move(observer))});
  const auto place = std::prev(observers->entries.end());
  // The token must not be null.
  return {observers.get(), [observers, place](void*) { observers->remove(place); }};
}

}  // namespace zqm
