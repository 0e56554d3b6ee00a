// OwnedDescriptor: a locked open file in a process whose host closes descriptors and forks.
#pragma once

#include <sys/types.h>

#include <atomic>

#include "zqm/platform/posix/Descriptor.h"

namespace zqm {

// A host may close all descriptors, and the number may then refer to another file. So it is
// compared with the file before each use, and never touched once it differs. A forked child closes
// its copy at once, since the copy would hold the parent's lock as long as the child lives; it
// never unlocks, which would release the parent's lock. Numbers 0 to 2 are avoided: hosts redirect
// them.
class OwnedDescriptor {
 public:
  explicit OwnedDescriptor(Descriptor file);
  OwnedDescriptor(const OwnedDescriptor&) = delete;
  OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;
  ~OwnedDescriptor();

  // The number, for a caller that makes the comparison itself; -1 for none.
  int number() const { return number_; }
  // The number, or -1 once the descriptor is lost.
  int get() const;
  // Whether the path currently names this file.
  bool isAt(const char* path) const;
  dev_t device() const { return device_; }
  ino_t inode() const { return inode_; }

 private:
  static constexpr int kNone = -1;

  std::atomic<int> number_ = kNone;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  // The index in the table that a forked child reads.
  std::size_t slot_ = 0;
};

}  // namespace zqm
