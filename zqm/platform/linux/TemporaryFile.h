// A new file beside its target that vanishes unless it takes the target's place.
#pragma once

#include <string>
#include <string_view>

#include "zqm/platform/linux/Descriptor.h"

namespace zqm {

class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& target);
  // Another name for a file that is at work under `path`. False where that cannot be: another file
  // system, or one without such names.
  TemporaryFile(const std::string& target, const std::string& path);
  TemporaryFile(TemporaryFile&&) = default;
  TemporaryFile& operator=(TemporaryFile&&) = delete;
  ~TemporaryFile();

  explicit operator bool() const { return static_cast<bool>(file_); }
  const std::string& path() const { return path_; }
  int descriptor() const { return file_.get(); }

  // Writes at the end and syncs the data.
  bool write(const Bytes& content);
  // The directory itself is not synced: after a power cut the old file may be back, whole. Answers
  // the file, now without a temporary name, or none.
  Descriptor takePlace();
  // Keeps the file, and the temporary name, which it answers.
  std::string release();

 private:
  std::string target_;
  std::string path_;
  Descriptor file_;
};

// Removes what killed writers left in a directory.
void removeTemporaryFiles(const std::string& directory);

bool writeAll(int descriptor, std::string_view content);

}  // namespace zqm
