// Journals: growing files of which each belongs to one process, and which others find when that
// process is gone.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zqm/base/Value.h"

namespace zqm {

// A file that is this process's own: by an exclusive lock on it that the system releases at the end
// of the process, however it ends. Destroyed, it lets go of the lock, and a file that has no name
// yet vanishes. One thread at a time, except for `sync`. In a forked child every function fails.
class JournalFile {
 public:
  virtual ~JournalFile() = default;

  virtual std::optional<Bytes> read() = 0;

  enum class Append { done, failed, lost };
  // What was appended survives the end of the process. Failed: a part of it may stand at the end.
  // Lost: nothing was written, since the file has no name any more, another size than it was left
  // with, or its descriptor was closed. That it was moved away may be noticed a second later.
  virtual Append append(std::string_view piece) = 0;
  // Drops what stands behind the first `size` bytes, such as the rest of a failed append.
  virtual bool cut(std::uint64_t size) = 0;
  // Afterwards the content survives a power cut.
  virtual bool sync() = 0;

  // Gives the file this name, in place of the one it has, if any. False where something has that
  // name, or it cannot be given.
  virtual bool takeName(const std::string& path) = 0;
  // Gives a new file the name of `old`. False where that name is not the old file's any more, or
  // the old file not this process's.
  virtual bool replace(JournalFile& old) = 0;
  // A second name, in the place of whatever has it. False where that cannot be, as on another file
  // system.
  virtual bool addName(const std::string& path) = 0;
  // Takes the file's name away. False where that name is not this file's any more, or cannot be
  // taken away.
  virtual bool removeName() = 0;
};

class Journals {
 public:
  virtual ~Journals() = default;

  enum class Turn { ours, others, noLocks };
  // The turn to look at a directory, which one process has at a time, as long as `token` lives.
  // Waits for nobody. Without locks everybody has it.
  virtual Turn takeTurn(const std::string& directory, std::shared_ptr<void>& token) = 0;

  // The names in a directory, in no order.
  virtual std::vector<std::string> names(const std::string& directory) = 0;

  enum class Access { owned, taken, none, unreadable };
  struct Opened {
    Access access = Access::unreadable;
    // Where it is owned.
    std::unique_ptr<JournalFile> file;
    // Where it is unreadable: the system's reason.
    std::string reason;
  };
  // A regular file, without following a link, and its lock; without `locks` it counts as owned.
  virtual Opened open(const std::string& path, bool locks) = 0;

  // What a file begins with, whoever owns it: at most 64 KiB; empty where it cannot be
  // read.
  virtual Bytes begin(const std::string& path) = 0;

  // An empty file in that directory, owned, without a name that others look for. Null where that
  // cannot be.
  virtual std::unique_ptr<JournalFile> create(const std::string& directory, bool locks) = 0;

  // Afterwards names given and removed in the directory survive a power cut.
  virtual bool sync(const std::string& directory) = 0;

  // Another number in a forked child, whose parent's journals are not its own.
  virtual std::uint64_t generation() = 0;
};

}  // namespace zqm
