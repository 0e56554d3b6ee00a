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
    FileContent content = contentOf(path);
    return content.state == FileContent::whole ? std::optional(std::move(content.bytes))
                                               : std::nullopt;
  }
  FileContent contentOf(const std::string& path) override {
    const MutexLock lock(mutex);
    const auto failing = failingReads.find(path);
    if (failing != failingReads.end() && failing->second > 0) {
      --failing->second;
      return {FileContent::notNow};
    }
    const auto found = contents.find(path);
    return found == contents.end() ? FileContent() : FileContent{FileContent::whole, found->second};
  }
  bool writeAtomically(const std::string& path, const Bytes& content) override {
    const MutexLock lock(mutex);
    written.push_back(path);
    if (readOnly || unwritable == path) return false;
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

  // So many reads of the file fail, as where no descriptor is free.
  void failReads(const std::string& path, int count) {
    const MutexLock lock(mutex);
    failingReads[path] = count;
  }

  Mutex mutex;
  std::map<std::string, Bytes> contents;
  std::vector<std::string> written;
  std::vector<std::string> removed;
  std::vector<std::string> existenceChecks;
  std::vector<std::string> openChecks;
  std::map<std::string, int> failingReads;
  std::atomic<bool> readOnly = false;
  // The one file that cannot be replaced.
  std::string unwritable;
};

}  // namespace zqm::testing
