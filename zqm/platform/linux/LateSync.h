// LateSync: brings what was written to the disk within a second, on a thread of its own.
#pragma once

#include <memory>

#include "zqm/platform/linux/Descriptor.h"

namespace zqm {

class LateSync {
 public:
  LateSync();
  // The thread syncs what is left and goes.
  ~LateSync();
  LateSync(const LateSync&) = delete;
  LateSync& operator=(const LateSync&) = delete;

  // Costs a system call only when the thread has slept for some time. The first request starts it.
  // Throws nothing: where there is no memory, the file is synced at once.
  void request(const std::shared_ptr<const Descriptor>& file);

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace zqm
