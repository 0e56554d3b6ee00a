// The host's main thread, or a thread of the library's own in its place; named notifications.
#pragma once

#include <functional>
#include <memory>

#include "zqm/base/WorkerPool.h"
#include "zqm/platform/Platform.h"

namespace zqm {

class LinuxMainThread : public MainThread {
 public:
  using Poster = std::function<void(std::function<void()>)>;

  // An empty poster means the library's own thread, which comes with the first task.
  explicit LinuxMainThread(Poster poster = nullptr);

  // A task that throws, or that the host's poster refuses, is dropped.
  void post(std::function<void()> task) override;
  void notify(std::string_view name, const std::shared_ptr<void>& object) override;
  std::shared_ptr<void> observe(
      std::string_view name, std::function<void(const std::shared_ptr<void>&)> observer) override;

 private:
  struct Observers;

  const Poster poster_;
  // One thread keeps the tasks in order.
  WorkerPool ownThread_{"zqm-main", 1};
  const std::shared_ptr<Observers> observers_;
};

}  // namespace zqm
