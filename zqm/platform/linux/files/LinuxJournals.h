// Journals on disk, owned by flock.
#pragma once

#include "zqm/platform/Journals.h"

namespace zqm {

class LinuxJournals : public Journals {
 public:
  Turn takeTurn(const std::string& directory, std::shared_ptr<void>& token) override;
  std::vector<std::string> names(const std::string& directory) override;
  Opened open(const std::string& path, bool locks) override;
  Bytes begin(const std::string& path) override;
  // Mode 0600. A killed writer leaves a temporary file, which a later `names` removes.
  std::unique_ptr<JournalFile> create(const std::string& directory, bool locks) override;
  bool sync(const std::string& directory) override;
  std::uint64_t generation() override;
};

}  // namespace zqm
