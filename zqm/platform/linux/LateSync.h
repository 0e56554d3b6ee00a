// LateSync: brings what was written to the disk within a second, on a thread of its own.
#pragma once

#include <atomic>
#include <memory>

#include "zqm/platform/linux/Descriptor.h"

namespace zqm {

// A file or a directory whose last changes may be in the system's memory only.
struct OpenFile {
  Descriptor descriptor;
  // Set once they could not be brought to the disk, which forgets them.
  std::atomic<bool> isLost = false;

  // Whether they are on the disk now.
  bool sync();
};

class LateSync {
 public:
  LateSync();
  // The thread syncs what is left and goes.
  ~LateSync();
  LateSync(const LateSync&) = delete;
  LateSync& operator=(const LateSync&) = delete;

  // Costs a system call only when the thread has slept for some time. The first request starts it.
  // Throws nothing: where there is no memory, the file is synced at once.
  void request(const std::shared_ptr<OpenFile>& file);

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace zqm
