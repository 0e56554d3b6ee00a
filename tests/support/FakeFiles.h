// Files in memory.
#pragma once

#include <atomic>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "zqm/base/Mutex.h"
#include "zqm/platform/Platform.h"

namespace zqm::testing {

struct FakeFiles : Files {
  std::optional<Bytes> read(const std::string& path) override {
    const MutexLock lock(mutex);
    const auto found = contents.find(path);
    return found == contents.end() ? std::nullopt : std::optional(found->second);
  }
  bool writeAtomically(const std::string& path, const Bytes& content) override {
    const MutexLock lock(mutex);
    written.push_back(path);
    if (readOnly) return false;
    contents[path] = content;
    return true;
  }
  bool exists(const std::string& path) override {
    const MutexLock lock(mutex);
    existenceChecks.push_back(path);
    return contents.contains(path);
  }
  bool opens(const std::string& path) override {
    const MutexLock lock(mutex);
    openChecks.push_back(path);
    return contents.contains(path);
  }
  bool remove(const std::string& path) override {
    const MutexLock lock(mutex);
    removed.push_back(path);
    return contents.erase(path) > 0;
  }
  bool move(const std::string& path, const std::string& newPath) override {
    const MutexLock lock(mutex);
    if (readOnly || !contents.contains(path) || contents.contains(newPath)) return false;
    contents[newPath] = std::move(contents[path]);
    return contents.erase(path) > 0;
  }
  void put(const std::string& path, Bytes content) {
    const MutexLock lock(mutex);
    contents[path] = std::move(content);
  }

  Mutex mutex;
  std::map<std::string, Bytes> contents;
  std::vector<std::string> written;
  std::vector<std::string> removed;
  std::vector<std::string> existenceChecks;
  std::vector<std::string> openChecks;
  std::atomic<bool> readOnly = false;
};

}  // namespace zqm::testing
