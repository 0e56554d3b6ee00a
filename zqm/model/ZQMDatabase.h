// ZQMDatabase: the store of records, one file for each record class in the group container.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "zqm/model/ZQMObjectModel.h"

namespace zqm {

// What a file held: nothing readable, one record, or a list of them.
template <class R>
using Stored = std::variant<std::monostate, R, std::vector<R>>;

// `Type` is the record class that names the file. All operations of a process are serialised by
// one lock, which is held for the whole of each.
class ZQM_EXPORT ZQMDatabase {
 public:
  // False when the file was not written; the earlier one is then left as it was.
  template <class Type>
  static bool saveObject(const ZQMObjectModel& record) {
    return save(Type::kClassName, [&] { return Value(record.toDictionary()); });
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
    const Value root = read(Type::kClassName);
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

  // The one record, or none when there is no file or it holds something else.
  template <class Type>
  static std::optional<Type> readRecord() {
    Stored<Type> stored = readObject<Type>();
    Type* record = std::get_if<Type>(&stored);
    return record ? std::optional(std::move(*record)) : std::nullopt;
  }

  template <class Type>
  static void remove() {
    removeFile(Type::kClassName);
  }

  // Writes a side copy to the application's documents; whether that worked is not told.
  static void saveToDocuments(const Value& value, std::string_view name);

 private:
  static bool save(std::string_view className, const std::function<Value()>& convert);
  static Value read(std::string_view className);
  static void removeFile(std::string_view className);
  static Value requireNoElements(const Value& plain);
};

}  // namespace zqm
