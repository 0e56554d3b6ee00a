// The host's main thread, or a thread of the library in its place, and named notifications.
#pragma once

#include <functional>
#include <memory>

#include "zqm/platform/Platform.h"
#include "zqm/platform/WorkerPool.h"

namespace zqm {

class LinuxMainThread : public MainThread {
 public:
  using Poster = std::function<void(std::function<void()>)>;

  // An empty poster selects the library's own thread, which starts with the first task.
  explicit LinuxMainThread(Poster poster = nullptr);

  // Exceptions of the task are dropped. A task that the host's poster refuses is dropped.
  void post(std::function<void()> task) override;
  void notify(std::string_view name, const std::shared_ptr<void>& object) override;
  std::shared_ptr<void> observe(
      std::string_view name, std::function<void(const std::shared_ptr<void>&)> observer) override;

 private:
  struct Observers;

  const Poster poster_;
  // A single thread keeps the tasks in order.
  WorkerPool ownThread_{"zqm-main", 1};
  const std::shared_ptr<Observers> observers_;
};

}  // namespace zqm
