// Files on a disk that is full, or that gives nothing, for as long as it is said.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "zqm/platform/Platform.h"

namespace zqm::soak {

struct Disk {
  std::atomic<bool> isFull = false;
  std::atomic<bool> isUnreadable = false;
};

class FaultyGrowingFile : public GrowingFile {
 public:
  FaultyGrowingFile(std::unique_ptr<GrowingFile> real, std::shared_ptr<Disk> disk)
      : real_(std::move(real)), disk_(std::move(disk)) {}

  bool isInPlace() override { return real_->isInPlace(); }
  bool append(const Bytes& piece) override { return !disk_->isFull && real_->append(piece); }
  bool sync() override { return !disk_->isFull && real_->sync(); }
  bool takePlace() override { return !disk_->isFull && real_->takePlace(); }

 private:
  const std::unique_ptr<GrowingFile> real_;
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
  std::unique_ptr<GrowingFile> open(const std::string& path, const std::string& copyPath,
                                    std::uint64_t size) override {
    return disk_->isUnreadable ? nullptr : faulty(real_->open(path, copyPath, size));
  }
  std::unique_ptr<GrowingFile> create(const std::string& path, const std::string& copyPath,
                                      const Bytes& content) override {
    return disk_->isFull ? nullptr : faulty(real_->create(path, copyPath, content));
  }
  std::unique_ptr<GrowingFile> prepare(const std::string& path, const std::string& copyPath,
                                       const Bytes& content) override {
    return disk_->isFull ? nullptr : faulty(real_->prepare(path, copyPath, content));
  }

 private:
  std::unique_ptr<GrowingFile> faulty(std::unique_ptr<GrowingFile> real) const {
    return real ? std::make_unique<FaultyGrowingFile>(std::move(real), disk_) : nullptr;
  }

  const std::shared_ptr<Files> real_;
  const std::shared_ptr<Disk> disk_;
};

}  // namespace zqm::soak
