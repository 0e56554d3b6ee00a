// Journals: growing files, each owned by one process. Others find them after its end.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zqm/base/Value.h"

namespace zqm {

// A file that this process owns through an exclusive lock, which the system releases when the
// process ends, however it ends. The destructor releases the lock and deletes a file without a
// name. Not thread-safe, except for `sync`. In a forked child every function fails.
class JournalFile {
 public:
  virtual ~JournalFile() = default;

  virtual std::optional<Bytes> read() = 0;

  enum class Append { done, failed, lost };
  // done: the piece survives the end of the process. failed: a part of it may be at the end of the
  // file. lost: nothing was written, because the file has no name any more, its size has changed,
  // or its descriptor was closed. It may take a second until a move of the file is noticed.
  virtual Append append(std::string_view piece) = 0;
  // Cuts the file to `size` bytes, for example to drop the rest of a failed append.
  virtual bool cut(std::uint64_t size) = 0;
  // After success the content survives a power loss.
  virtual bool sync() = 0;

  // Renames the file, or gives a new file its first name. Returns false if `path` exists or the
  // name cannot be given.
  virtual bool takeName(const std::string& path) = 0;
  // Gives a new file the name of `old`, which it replaces. Returns false if that name no longer
  // belongs to `old`, or `old` no longer belongs to this process.
  virtual bool replace(JournalFile& old) = 0;
  // Adds a second name, replacing any file there. Returns false if that fails, for example on
  // another file system.
  virtual bool addName(const std::string& path) = 0;
  // Removes the file's name. Returns false on failure or if the name is not this file's any more.
  virtual bool removeName() = 0;
};

class Journals {
 public:
  virtual ~Journals() = default;

  enum class Turn { ours, others, noLocks };
  // Takes the turn to recover the files of a directory, which one process has at a time, until
  // `token` is destroyed. Never waits. On a file system without locks every process has the turn.
  virtual Turn takeTurn(const std::string& directory, std::shared_ptr<void>& token) = 0;

  // Returns the names in a directory, in no particular order.
  virtual std::vector<std::string> names(const std::string& directory) = 0;

  enum class Access { owned, taken, none, unreadable };
  struct Opened {
    Access access = Access::unreadable;
    // Set if `access` is owned.
    std::unique_ptr<JournalFile> file;
    // The system's reason if `access` is unreadable.
    std::string reason;
  };
  // Opens a regular file, without following a link, and locks it. Without `locks` it is only opened
  // and treated as owned.
  virtual Opened open(const std::string& path, bool locks) = 0;

  // Returns the first bytes of a file, at most 64 KiB, whoever owns it; empty if it cannot be read.
  virtual Bytes begin(const std::string& path) = 0;

  // Creates an owned, empty file under a name that others ignore. Returns null on failure.
  virtual std::unique_ptr<JournalFile> create(const std::string& directory, bool locks) = 0;

  // After success, names given and removed in the directory survive a power loss.
  virtual bool sync(const std::string& directory) = 0;

  // Returns another number in a forked child, to which the parent's journals do not belong.
  virtual std::uint64_t generation() = 0;
};

}  // namespace zqm
