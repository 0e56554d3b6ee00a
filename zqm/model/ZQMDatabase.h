// ZQMDatabase: the store of records, one file for each record class in the group container.
#pragma once

#include <functional>
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
  none,
  // It is there, but the system does not give its content at the moment.
  unreadable,
  // It holds no such record, or a part of one.
  damaged,
  sound,
};

template <class R>
struct Found {
  FileState state;
  std::optional<R> record;
};

// A record that is kept in a file of another form, which it brings along.
template <class Type>
concept BringsFile = requires {
  typename Type::File;
};

struct RecordPlace {
  std::string path;
};

// The store's one lock. Recursive, so that a record's conversion may use the store.
ZQM_EXPORT RecursiveMutex& storeLock();

// `Type` is the record class that names the file. All operations of a process are serialised by
// one lock, which is held for the whole of each.
class ZQM_EXPORT ZQMDatabase {
 public:
  // False when the file was not written; the earlier one is then left as it was.
  template <class Type>
  static bool saveObject(const ZQMObjectModel& record) {
    return save(Type::kClassName, [&] { return Value(record.toDictionary()); });
  }
  template <BringsFile Type>
  static bool saveObject(const Type& record) {
    const RecursiveMutexLock lock(storeLock());
    return Type::File::save(record);
  }
  template <class Type, std::derived_from<ZQMObjectModel> R>
  static bool saveObject(const std::vector<R>& records) {
    return save(Type::kClassName, [&] {
      List list;
      for (const R& record : records) list.emplace_back(record.toDictionary());
      return Value(std::move(list));
    });
  }
  // A plain value; an absent one writes nothing. Throws for a list, whose elements would have to
  // be records.
  template <class Type>
  static bool saveObject(const Value& plain) {
    return save(Type::kClassName, [&] { return requireNoElements(plain); });
  }

  template <class Type>
  static Stored<Type> readObject() {
    const RecursiveMutexLock lock(storeLock());
    if constexpr (BringsFile<Type>) {
      if (auto record = Type::File::read()) return *std::move(record);
      return std::monostate();
    }
    const auto place = location(Type::kClassName);
    const auto content = place ? read(*place) : std::nullopt;
    return content ? storedIn<Type>(*content) : std::monostate();
  }

  // The one record, or none when there is no file or it holds something else.
  template <class Type>
  static std::optional<Type> readRecord() {
    return oneOf(readObject<Type>());
  }

  // The same, and what became of its file. One that a power cut left blank was never written.
  template <class Type>
  static Found<Type> findRecord() {
    const RecursiveMutexLock lock(storeLock());
    const auto place = location(Type::kClassName);
    if (!place) return {FileState::noPlace, std::nullopt};
    const auto content = read(*place);
    if (!content) return {exists(*place) ? FileState::unreadable : FileState::none, std::nullopt};
    auto record = oneOf(storedIn<Type>(*content));
    return {record ? FileState::sound : FileState::damaged, std::move(record)};
  }

  template <class Type>
  static void remove() {
    const RecursiveMutexLock lock(storeLock());
    if constexpr (BringsFile<Type>) return Type::File::remove();
    removeFile(Type::kClassName);
  }

  // Gives the file a name of its own beside the store's files, so that its bytes are kept whatever
  // is saved next. Answers the name, or none where the file is still where it was.
  template <class Type>
  static std::optional<std::string> setAside() {
    return moveAside(Type::kClassName);
  }

  // Writes a side copy to the application's documents; whether that worked is not told.
  static void saveToDocuments(const Value& value, std::string_view name);

 private:
  static bool save(std::string_view className, const std::function<Value()>& convert);
  static void saveSideCopy(std::string_view className, const Value& value);
  static std::optional<Bytes> read(const RecordPlace& place);
  static bool exists(const RecordPlace& place);
  static Value decoded(const Bytes& content);
  static void removeFile(std::string_view className);
  static std::optional<std::string> moveAside(std::string_view className);
  static Value requireNoElements(const Value& plain);

  // None where there is no container. The queue's copy is in the documents, where there are any.
  static std::optional<RecordPlace> location(std::string_view className);

  template <class Type>
  static Stored<Type> storedIn(const Bytes& content) {
    const Value root = decoded(content);
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
