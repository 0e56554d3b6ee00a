// RecordLog: the file of a record that is one list, kept as the sequence of the list's changes.
// The form of the file is told in docs/architecture.md.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zqm/base/Value.h"
#include "zqm/model/SharedList.h"
#include "zqm/platform/Platform.h"

namespace zqm {

// One change of a list, in the form in which the file holds it.
class ZQM_EXPORT LogEntry {
 public:
  // `splice.inserted` records have to be added.
  explicit LogEntry(const Splice& splice);

  // The fields under their names, absent ones left out; a date is kept to the second. False, and
  // the entry must not be used, for what no property list can hold either, or what consists of so
  // many small values that a reader takes it for an attack.
  template <class R>
  bool add(const R& record) {
    const std::size_t count = bytes_.size();
    bytes_.push_back(0);
    R::fields(record, [&](std::string_view name, const auto& member) {
      if (put(name, member)) ++bytes_[count];
    });
    ++values_;
    return bytes_[count] < 0x80 && isReadable();
  }

  // The entry as it stands in a file of that generation.
  const Bytes& framed(std::uint64_t generation);
  // Of the elements alone.
  std::uint64_t contentSize() const { return bytes_.size() - head_; }

 private:
  bool isReadable() const;
  // Whether there was a value.
  bool put(std::string_view name, const Value& value);
  bool put(std::string_view name, bool flag) { return put(name, Value(flag)); }
  bool put(std::string_view name, std::int32_t number) { return put(name, Value(number)); }
  bool put(std::string_view name, const std::optional<Date>& date) {
    return put(name, Value(date));
  }

  // Begins with room for the length and the checksum.
  Bytes bytes_;
  std::size_t head_ = 0;
  // With the records themselves.
  std::size_t values_ = 0;
  bool isSound_ = true;
};

// An element of a list that is read, and what makes it of its fields; dates among them are dates.
using LogElement = std::shared_ptr<const void>;
using MakeLogElement = std::function<LogElement(Dictionary)>;

struct LogContent {
  std::vector<LogElement> elements;
  std::uint64_t generation = 0;
  // False where the file goes on behind the last sound entry, as after a power cut.
  bool isWhole = false;
};

// None for a file that is no log. Of a torn or damaged one, the state after the last sound entry.
ZQM_EXPORT std::optional<LogContent> readLog(const Bytes& file, const MakeLogElement& make);

// Whether the first entry of a log that is not sound is damaged: what a power cut leaves (an end
// that is missing, a page that was never written) is not.
ZQM_EXPORT bool isDamagedLog(const Bytes& file);

// Whether a power cut took the first write to this file.
ZQM_EXPORT bool isBlankFile(const Bytes& file);

// A log that is open for further entries. Not for several threads at once.
class ZQM_EXPORT RecordLog {
 public:
  // Goes on with a file that was read. None where it changed since.
  static std::optional<RecordLog> open(const std::string& path, const std::string& copyPath,
                                       const LogContent& content, std::uint64_t size);
  // A new file with one entry, synced, that takes its place with `takePlace`.
  static std::optional<RecordLog> prepare(const std::string& path, const std::string& copyPath,
                                          LogEntry& entry);
  // The same where nothing stands, with its place. Synced a second later.
  static std::optional<RecordLog> create(const std::string& path, const std::string& copyPath,
                                         LogEntry& entry);

  bool isInPlace() const { return file_->isInPlace(); }
  bool append(LogEntry& entry);
  bool sync() { return file_->sync(); }
  bool takePlace() { return file_->takePlace(); }

  std::uint64_t size() const { return size_; }

 private:
  RecordLog(std::uint64_t generation, std::uint64_t size, std::unique_ptr<GrowingFile> file)
      : generation_(generation), size_(size), file_(std::move(file)) {}
  static std::optional<RecordLog> made(std::uint64_t generation, std::uint64_t size,
                                       std::unique_ptr<GrowingFile> file);

  std::uint64_t generation_;
  std::uint64_t size_;
  std::unique_ptr<GrowingFile> file_;
};

}  // namespace zqm
