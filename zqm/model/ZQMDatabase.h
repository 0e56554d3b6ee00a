// ZQMDatabase: the store of records, one file for each record class in the group container.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "zqm/base/Mutex.h"
#include "zqm/model/ZQMObjectModel.h"
#include "zqm/platform/Process.h"

namespace zqm {

// What a file held: nothing readable, one record, or a list of them.
template <class R>
using Stored = std::variant<std::monostate, R, std::vector<R>>;

enum class FileState {
  // There is no container to look into.
  noPlace,
  // No file, or one with something else, such as a list.
  none,
  // It may be there, but the system does not give its content at the moment.
  unreadable,
  // It is not as it was written, or was not written here.
  damaged,
  sound,
};

template <class R>
struct Found {
  FileState state;
  std::optional<R> record;
};

// What became of a save.
struct Saved {
  bool isDone = false;
  // The name under which the damaged file that stood in its place is kept.
  std::optional<std::string> keptAs = {};
};

// A record that is kept in a file of another form, which it brings along.
template <class Type>
concept BringsFile = requires {
  typename Type::File;
};

// The store's one lock. Recursive, so that a record's conversion may use the store.
ZQM_EXPORT RecursiveMutex& storeLock();

// `Type` is the record class that names the file. All operations of a process are serialised by
// one lock, which is held for the whole of each. A damaged file is given another name before it is
// replaced, so that its bytes are kept; while it cannot be moved, nothing is saved.
class ZQM_EXPORT ZQMDatabase {
 public:
  // False when the file was not written; the earlier one is then left as it was.
  template <class Type>
  static bool saveObject(const ZQMObjectModel& record) {
    return saveRecord<Type>(record).isDone;
  }
  template <BringsFile Type>
  static bool saveObject(const Type& record) {
    const RecursiveMutexLock lock(storeLock());
    return Type::File::save(record);
  }
  template <class Type, std::derived_from<ZQMObjectModel> R>
  static bool saveObject(const std::vector<R>& records) {
    const RecursiveMutexLock lock(storeLock());
    List list;
    for (const R& record : records) list.emplace_back(record.toDictionary());
    return save<Type>(std::move(list)).isDone;
  }
  template <class Type, std::derived_from<ZQMObjectModel> R>
  static bool saveObject(const std::optional<R>& record) {
    return record && saveObject<Type>(*record);
  }
  // A plain value; an absent one writes nothing. Throws for a list, whose elements would have to
  // be records.
  template <class Type>
  static bool saveObject(const Value& plain) {
    const RecursiveMutexLock lock(storeLock());
    return save<Type>(requireNoElements(plain)).isDone;
  }
  // `saveObject` for those who report what it met.
  template <class Type>
  static Saved saveRecord(const ZQMObjectModel& record) {
    const RecursiveMutexLock lock(storeLock());
    return save<Type>(record.toDictionary());
  }

  // None as well where the file cannot be read at the moment.
  template <class Type>
  static Stored<Type> readObject() {
    const RecursiveMutexLock lock(storeLock());
    if constexpr (BringsFile<Type>) {
      auto record = Type::File::read();
      return record ? Stored<Type>(*std::move(record)) : std::monostate();
    } else {
      const auto path = pathOf(Type::kClassName);
      return path ? storedIn<Type>(read(*path)) : std::monostate();
    }
  }

  // The one record, or none when there is no file or it holds something else.
  template <class Type>
  static std::optional<Type> readRecord() {
    return oneOf(readObject<Type>());
  }

  // The same, and why there is none: who changes a record writes nothing over one that cannot be
  // read at the moment. A file that a power cut left blank was never written.
  template <class Type>
  requires(!BringsFile<Type>) static Found<Type> findRecord() {
    const RecursiveMutexLock lock(storeLock());
    const auto path = pathOf(Type::kClassName);
    if (!path) return {stateWithoutPlace(), std::nullopt};
    const Reading reading = read(*path);
    auto record = oneOf(storedIn<Type>(reading));
    const bool isOther = reading.state == FileState::sound && !record;
    return {isOther ? FileState::none : reading.state, std::move(record)};
  }

  template <class Type>
  static void remove() {
    const RecursiveMutexLock lock(storeLock());
    if constexpr (BringsFile<Type>) {
      Type::File::remove();
    } else {
      removeFile(Type::kClassName);
    }
  }

  // Writes a side copy to the application's documents; whether that worked is not told.
  static void saveToDocuments(const Value& value, std::string_view name);

 private:
  struct Reading {
    FileState state;
    // Absent but for a sound file.
    Value root = {};
  };

  template <class Type>
  static Saved save(const Value& value) {
    if constexpr (BringsFile<Type>) {
      const auto record = Type::initWithDictionary(value);
      return {record && Type::File::save(*record)};
    } else {
      return saveFile(Type::kClassName, value);
    }
  }
  static Saved saveFile(std::string_view className, const Value& value);
  static Reading read(const std::string& path);
  static FileState stateWithoutPlace();
  static void removeFile(std::string_view className);
  static std::optional<std::string> moveAside(const std::string& path);
  static Value requireNoElements(const Value& plain);

  // None where there is no container.
  static std::optional<std::string> pathOf(std::string_view className);

  template <class Type>
  static Stored<Type> storedIn(const Reading& reading) {
    const Value& root = reading.root;
    if (auto record = root.dictionary() ? Type::initWithDictionary(root) : std::nullopt) {
      return *std::move(record);
    }
    if (!root.list()) return std::monostate();
    std::vector<Type> records;
    for (const Value& element : *root.list()) {
      if (auto record = Type::initWithDictionary(element)) records.push_back(*std::move(record));
    }
    return records;
  }

  template <class Type>
  static std::optional<Type> oneOf(Stored<Type> stored) {
    Type* const record = std::get_if<Type>(&stored);
    return record ? std::optional(std::move(*record)) : std::nullopt;
  }
};

}  // namespace zqm
