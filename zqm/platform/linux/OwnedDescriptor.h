// OwnedDescriptor: an open file that holds a lock, in a process whose host closes and forks.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>

#include "zqm/platform/linux/Descriptor.h"

namespace zqm {

// A host may close every descriptor, and the number may then be another file's: it is compared with
// the file before each use, and never touched once it is another. A forked child closes its copy
// at once: otherwise it would hold the lock of its parent as long as it lives. It never unlocks,
// which would take the lock from the living parent. Never number 0, 1 or 2, which hosts redirect.
class OwnedDescriptor {
 public:
  explicit OwnedDescriptor(Descriptor file);
  OwnedDescriptor(const OwnedDescriptor&) = delete;
  OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;
  ~OwnedDescriptor();

  // The number, compared by the caller; -1 for none.
  int number() const { return number_; }
  // The number, or -1 once it is lost.
  int get() const;
  // Whether a path names this file now.
  bool isAt(const char* path) const;
  dev_t device() const { return device_; }
  ino_t inode() const { return inode_; }

 private:
  static constexpr int kNone = -1;

  std::atomic<int> number_ = kNone;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  // In the table that a forked child reads.
  std::size_t slot_ = 0;
};

// How many forks lie between this process and the one that loaded the library.
std::uint64_t forkCount();

}  // namespace zqm
