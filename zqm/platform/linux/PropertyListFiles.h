// Property-list files as dictionaries, parsed again only after a change.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "zqm/base/Mutex.h"
#include "zqm/base/Value.h"
#include "zqm/platform/Platform.h"
#include "zqm/platform/linux/FileStamp.h"

namespace zqm {

class PropertyListFiles {
 public:
  explicit PropertyListFiles(std::shared_ptr<SystemLog> log) : log_(std::move(log)) {}

  // A null pointer when the file is missing or holds no dictionary. The latter is told the log,
  // once as long as the fault is the same.
  std::shared_ptr<const Dictionary> read(const std::string& path);

 private:
  struct Entry {
    FileStamp stamp = {};
    std::shared_ptr<const Dictionary> content = {};
    // Why there is none.
    std::string fault = {};
  };

  const std::shared_ptr<SystemLog> log_;
  Mutex mutex_;
  std::map<std::string, Entry> entries_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
