// A file that is kept open for appending, and its copy: a second name of the same file, or a file
// of its own where the file system has no such names.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "zqm/platform/Platform.h"
#include "zqm/platform/linux/LateSync.h"
#include "zqm/platform/linux/TemporaryFile.h"

namespace zqm {

class LinuxGrowingFile : public GrowingFile {
 public:
  using Sync = std::shared_ptr<LateSync>;

  // See Files. Paths are as the system knows them; `copyPath` is empty for no copy.
  static std::unique_ptr<GrowingFile> open(const std::string& path, const std::string& copyPath,
                                           std::uint64_t size, const Sync& sync);
  static std::unique_ptr<GrowingFile> create(const std::string& path, const std::string& copyPath,
                                             const Bytes& content, const Sync& sync);
  static std::unique_ptr<GrowingFile> prepare(const std::string& path, const std::string& copyPath,
                                              const Bytes& content, const Sync& sync);

  bool isInPlace() override;
  bool append(const Bytes& piece) override;
  bool sync() override;
  bool takePlace() override;

 private:
  LinuxGrowingFile(std::string path, Sync sync) : path_(std::move(path)), sync_(std::move(sync)) {}

  int descriptor() const { return file_ ? file_->descriptor.get() : prepared_->descriptor(); }
  // `place` is made ahead, since nothing may fail once the file has its path.
  void hold(std::shared_ptr<OpenFile> place, Descriptor file);
  bool fill(const std::string& copyPath, const Bytes& content);

  const std::string path_;
  const Sync sync_;
  std::optional<TemporaryFile> prepared_;
  std::optional<TemporaryFile> secondName_;
  // Shared with the thread that syncs it; null while prepared.
  std::shared_ptr<OpenFile> file_;
  dev_t device_ = 0;
  ino_t number_ = 0;
  nlink_t names_ = 1;
  std::uint64_t size_ = 0;
  std::chrono::steady_clock::time_point nextLookAtPath_;
  // Where it is a file of its own.
  std::unique_ptr<GrowingFile> copy_;
  bool copyIsInStep_ = true;
};

}  // namespace zqm
