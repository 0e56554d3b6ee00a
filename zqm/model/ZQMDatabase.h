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

// The content of a record file: nothing readable, one record, or a list of them.
template <class R>
using Stored = std::variant<std::monostate, R, std::vector<R>>;

enum class FileState {
  // There is no group container.
  noPlace,
  // There is no file, or it holds something else, such as a list.
  none,
  // A file may exist, but its content cannot be read at the moment.
  unreadable,
  // The file was changed or damaged, or was not written by the library.
  damaged,
  sound,
};

template <class R>
struct Found {
  FileState state;
  std::optional<R> record;
};

// The result of a save.
struct Saved {
  bool isDone = false;
  // The new name of the damaged file that was found at the record's path.
  std::optional<std::string> keptAs = {};
};

// A record class with a file format of its own, implemented by its member type `File`.
template <class Type>
concept BringsFile = requires {
  typename Type::File;
};

// The store's one lock. Recursive, so that a record's conversion may use the store.
ZQM_EXPORT RecursiveMutex& storeLock();

// `Type` is the record class that names the file. One lock serializes all operations of a process,
// each as a whole. A damaged file is renamed before it is replaced, so that its bytes are kept; if
// it cannot be renamed, nothing is saved.
class ZQM_EXPORT ZQMDatabase {
 public:
  // Returns false if the file was not written; an undamaged earlier file is then unchanged.
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
  // Saves a plain value; an absent one writes nothing. Throws for a non-empty list, since the
  // elements of a list must be records.
  template <class Type>
  static bool saveObject(const Value& plain) {
    const RecursiveMutexLock lock(storeLock());
    return save<Type>(requireNoElements(plain)).isDone;
  }
  // Like `saveObject`, but also returns the name of a damaged file that was kept.
  template <class Type>
  static Saved saveRecord(const ZQMObjectModel& record) {
    const RecursiveMutexLock lock(storeLock());
    return save<Type>(record.toDictionary());
  }

  // Returns std::monostate also if the file cannot be read at the moment.
  template <class Type>
  static Stored<Type> readObject() {
    const RecursiveMutexLock lock(storeLock());
    if constexpr (BringsFile<Type>) {
      auto record = Type::File::read();
      return record ? Stored<Type>(*std::move(record)) : std::monostate();
    } else {
      return storedIn<Type>(read(pathOf(Type::kClassName)));
    }
  }

  // Returns the record, or std::nullopt if there is no readable file or it holds something else.
  template <class Type>
  static std::optional<Type> readRecord() {
    return oneOf(readObject<Type>());
  }

  // Like `readRecord`, but also returns why there is no record: one that cannot be read at the
  // moment must not be overwritten. A file that a power loss left empty or all zeros is `none`.
  template <class Type>
  requires(!BringsFile<Type>) static Found<Type> findRecord() {
    const RecursiveMutexLock lock(storeLock());
    const Reading reading = read(pathOf(Type::kClassName));
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

  // Writes a copy to the application's documents directory. Failures are ignored.
  static void saveToDocuments(const Value& value, std::string_view name);

 private:
  struct Reading {
    FileState state;
    // Absent unless `state` is `sound`.
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
  // Returns std::nullopt if there is no container.
  static std::optional<std::string> pathOf(std::string_view className);
  static Reading read(const std::optional<std::string>& path);
  static void removeFile(std::string_view className);
  static const Value& requireNoElements(const Value& plain);

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
