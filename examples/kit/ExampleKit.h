// ExampleKit: a kit module, a companion library that starts once the backend has accepted the
// installation. At its first start it hands over three requests for a later delivery.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "zqm/zqm.h"

namespace example {

class ExampleKit : public zqm::ZQMCoreModule {
 public:
  // Called by the library, on a thread of its own, after each accepted start.
  void start() override;

  // False when the time is up first.
  bool waitUntilStarted(std::chrono::seconds limit);

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool started_ = false;
};

}  // namespace example
