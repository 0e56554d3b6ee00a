// Journals in memory, among the files of FakeFiles.
#pragma once

#include <algorithm>
#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/support/FakeFiles.h"
#include "zqm/platform/Journals.h"

namespace zqm::testing {

struct FakeJournals : Journals {
  struct File : JournalFile {
    File(FakeJournals& journals, std::string name, Bytes bytes)
        : owner(journals), path(std::move(name)), content(std::move(bytes)) {}
    ~File() override {
      const MutexLock lock(owner.files->mutex);
      owner.owned.erase(path);
    }

    std::optional<Bytes> read() override { return owner.files->read(path); }
    Append append(std::string_view piece) override {
      if (!path.empty() && owner.files->read(path) != content) return Append::lost;
      if (owner.files->readOnly) return Append::failed;
      content.insert(content.end(), piece.begin(), piece.end());
      show();
      return Append::done;
    }
    bool cut(std::uint64_t size) override {
      content.resize(size);
      show();
      return true;
    }
    bool sync() override { return true; }
    bool takeName(const std::string& name) override {
      {
        const MutexLock lock(owner.files->mutex);
        if (owner.files->readOnly || owner.files->contents.contains(name)) return false;
        move(name);
      }
      show();
      return true;
    }
    bool replace(JournalFile& old) override {
      auto& other = static_cast<File&>(old);
      if (owner.files->read(other.path) != other.content || owner.files->readOnly) return false;
      {
        const MutexLock lock(owner.files->mutex);
        move(std::exchange(other.path, ""));
      }
      show();
      return true;
    }
    bool addName(const std::string& name) override {
      if (owner.files->readOnly) return false;
      copy = name;
      show();
      return true;
    }
    bool removeName() override {
      if (owner.files->read(path) != content || !owner.files->remove(path)) return false;
      const MutexLock lock(owner.files->mutex);
      owner.owned.erase(std::exchange(path, ""));
      return true;
    }

    void move(const std::string& name) {
      owner.owned.erase(path);
      owner.files->contents.erase(path);
      owner.owned.insert(name);
      path = name;
    }
    void show() const {
      for (const std::string& name : {path, copy}) {
        if (!name.empty()) owner.files->put(name, content);
      }
    }

    FakeJournals& owner;
    std::string path;
    std::string copy;
    Bytes content;
  };

  Turn takeTurn(const std::string&, std::shared_ptr<void>&) override { return turn; }
  std::vector<std::string> names(const std::string& directory) override {
    const MutexLock lock(files->mutex);
    std::vector<std::string> found;
    for (const auto& [path, content] : files->contents) {
      if (path.starts_with(directory + "/")) found.push_back(path.substr(directory.size() + 1));
    }
    return found;
  }
  Opened open(const std::string& path, bool locks) override {
    if (unreadable.contains(path)) return {Access::unreadable, nullptr, "no permission"};
    auto content = files->read(path);
    if (!content) return {Access::none, nullptr, ""};
    const MutexLock lock(files->mutex);
    if (!owned.insert(path).second && locks) return {Access::taken, nullptr, ""};
    return {Access::owned, std::make_unique<File>(*this, path, *std::move(content)), ""};
  }
  Bytes begin(const std::string& path) override { return files->read(path).value_or(Bytes()); }
  std::unique_ptr<JournalFile> create(const std::string&, bool) override {
    return files->readOnly ? nullptr : std::make_unique<File>(*this, "", Bytes());
  }
  bool sync(const std::string&) override { return true; }
  std::uint64_t generation() override { return 0; }

  std::shared_ptr<FakeFiles> files;
  // By some process; guarded by the files' mutex.
  std::set<std::string> owned;
  std::set<std::string> unreadable;
  std::atomic<Turn> turn = Turn::ours;
};

}  // namespace zqm::testing
