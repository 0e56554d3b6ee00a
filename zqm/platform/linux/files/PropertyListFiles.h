// Property-list files as dictionaries, parsed again only after a change.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "zqm/base/Mutex.h"
#include "zqm/base/Value.h"
#include "zqm/platform/Platform.h"
#include "zqm/platform/posix/FileStamp.h"

namespace zqm {

class PropertyListFiles {
 public:
  explicit PropertyListFiles(std::shared_ptr<SystemLog> log) : log_(std::move(log)) {}

  // Returns null if the file is missing or holds no dictionary. The latter is logged once per
  // fault.
  std::shared_ptr<const Dictionary> read(const std::string& path);

 private:
  struct Entry {
    FileStamp stamp = {};
    std::shared_ptr<const Dictionary> content = {};
    // Why there is no content.
    std::string fault = {};
  };

  const std::shared_ptr<SystemLog> log_;
  Mutex mutex_;
  std::map<std::string, Entry> entries_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
