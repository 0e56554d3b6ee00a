// A real module would begin its work where this one only notes that it may.
#include "ExampleKit.h"

namespace example {

void ExampleKit::start() {
  const std::lock_guard lock(mutex_);
  started_ = true;
  changed_.notify_all();
}

bool ExampleKit::waitUntilStarted(std::chrono::seconds limit) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, limit, [this] { return started_; });
}

}  // namespace example
