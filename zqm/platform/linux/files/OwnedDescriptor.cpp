// The table of open files for forked children, and the comparison of a number with its file.
#include "zqm/platform/linux/files/OwnedDescriptor.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

namespace zqm {
namespace {

bool isFile(int number, dev_t device, ino_t inode) {
  struct stat found {};
  return number >= 0 && fstat(number, &found) == 0 && found.st_dev == device &&
         found.st_ino == inode;
}

// The only data that a forked child may use: it must neither lock nor allocate.
struct Entry {
  std::atomic<int> number = -1;
  std::atomic<dev_t> device = 0;
  std::atomic<ino_t> inode = 0;
};
constexpr std::size_t kEntries = 64;
constinit std::array<Entry, kEntries> entries;

void closeInChild() {
  for (Entry& each : entries) {
    const int number = each.number.exchange(-1);
    if (isFile(number, each.device, each.inode)) close(number);
  }
}

// Returns kEntries if the table is full; a forked child then keeps its copy.
std::size_t enter(int number, dev_t device, ino_t inode) {
  static const int registered = pthread_atfork(nullptr, nullptr, closeInChild);
  static_cast<void>(registered);
  constexpr int kClaimed = -2;
  for (std::size_t slot = 0; slot < kEntries; ++slot) {
    int none = -1;
    if (!entries[slot].number.compare_exchange_strong(none, kClaimed)) continue;
    entries[slot].device = device;
    entries[slot].inode = inode;
    entries[slot].number = number;
    return slot;
  }
  return kEntries;
}

}  // namespace

OwnedDescriptor::OwnedDescriptor(Descriptor file) {
  constexpr int kFirst = STDERR_FILENO + 1;
  if (!file) return;
  if (file.get() < kFirst) file = Descriptor(fcntl(file.get(), F_DUPFD_CLOEXEC, kFirst));
  struct stat found {};
  if (!file || fstat(file.get(), &found) != 0) return;
  device_ = found.st_dev;
  inode_ = found.st_ino;
  slot_ = enter(file.get(), device_, inode_);
  number_ = file.release();
}

OwnedDescriptor::~OwnedDescriptor() {
  const int number = get();
  if (number_ != kNone && slot_ < kEntries) {
    int entered = number_;
    // In a forked child the table is already empty.
    entries[slot_].number.compare_exchange_strong(entered, -1);
  }
  if (number >= 0) close(number);
}

int OwnedDescriptor::get() const {
  const int number = number_;
  return isFile(number, device_, inode_) ? number : kNone;
}

bool OwnedDescriptor::isAt(const char* path) const {
  struct stat found {};
  return lstat(path, &found) == 0 && found.st_dev == device_ && found.st_ino == inode_;
}

}  // namespace zqm
