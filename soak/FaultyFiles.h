// Files on a disk that is full, or that gives nothing, for as long as it is said.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "zqm/platform/Platform.h"

namespace zqm::soak {

struct Disk {
  std::atomic<bool> isFull = false;
  std::atomic<bool> isUnreadable = false;
};

class FaultyJournalFile : public JournalFile {
 public:
  FaultyJournalFile(std::unique_ptr<JournalFile> real, std::shared_ptr<Disk> disk)
      : real_(std::move(real)), disk_(std::move(disk)) {}

  std::optional<Bytes> read() override {
    return disk_->isUnreadable ? std::nullopt : real_->read();
  }
  Append append(std::string_view piece) override {
    return disk_->isFull ? Append::failed : real_->append(piece);
  }
  bool cut(std::uint64_t size) override { return real_->cut(size); }
  bool sync() override { return !disk_->isFull && real_->sync(); }
  bool takeName(const std::string& path) override {
    return !disk_->isFull && real_->takeName(path);
  }
  bool replace(JournalFile& old) override {
    return !disk_->isFull && real_->replace(*static_cast<FaultyJournalFile&>(old).real_);
  }
  bool addName(const std::string& path) override { return !disk_->isFull && real_->addName(path); }
  bool removeName() override { return real_->removeName(); }

 private:
  const std::unique_ptr<JournalFile> real_;
  const std::shared_ptr<Disk> disk_;
};

class FaultyJournals : public Journals {
 public:
  FaultyJournals(std::shared_ptr<Journals> real, std::shared_ptr<Disk> disk)
      : real_(std::move(real)), disk_(std::move(disk)) {}

  Turn takeTurn(const std::string& directory, std::shared_ptr<void>& token) override {
    return real_->takeTurn(directory, token);
  }
  std::vector<std::string> names(const std::string& directory) override {
    return real_->names(directory);
  }
  Opened open(const std::string& path, bool locks) override {
    if (disk_->isUnreadable) return {Access::unreadable, nullptr, "the disk gives nothing"};
    Opened opened = real_->open(path, locks);
    opened.file = faulty(std::move(opened.file));
    return opened;
  }
  Bytes begin(const std::string& path) override {
    return disk_->isUnreadable ? Bytes() : real_->begin(path);
  }
  std::unique_ptr<JournalFile> create(const std::string& directory, bool locks) override {
    return disk_->isFull ? nullptr : faulty(real_->create(directory, locks));
  }
  bool sync(const std::string& directory) override {
    return !disk_->isFull && real_->sync(directory);
  }
  std::uint64_t generation() override { return real_->generation(); }

 private:
  std::unique_ptr<JournalFile> faulty(std::unique_ptr<JournalFile> real) const {
    return real ? std::make_unique<FaultyJournalFile>(std::move(real), disk_) : nullptr;
  }

  const std::shared_ptr<Journals> real_;
  const std::shared_ptr<Disk> disk_;
};

class FaultyFiles : public Files {
 public:
  FaultyFiles(std::shared_ptr<Files> real, std::shared_ptr<Disk> disk)
      : real_(std::move(real)), disk_(std::move(disk)) {}

  std::optional<Bytes> read(const std::string& path) override {
    return disk_->isUnreadable ? std::nullopt : real_->read(path);
  }
  FileContent contentOf(const std::string& path) override {
    return disk_->isUnreadable ? FileContent{FileContent::notNow} : real_->contentOf(path);
  }
  bool writeAtomically(const std::string& path, const Bytes& content) override {
    return !disk_->isFull && real_->writeAtomically(path, content);
  }
  bool exists(const std::string& path) override { return real_->exists(path); }
  bool opens(const std::string& path) override {
    return !disk_->isUnreadable && real_->opens(path);
  }
  bool remove(const std::string& path) override { return real_->remove(path); }
  bool move(const std::string& path, const std::string& newPath) override {
    return !disk_->isFull && real_->move(path, newPath);
  }

 private:
  const std::shared_ptr<Files> real_;
  const std::shared_ptr<Disk> disk_;
};

}  // namespace zqm::soak
