// The files behind the store and the one lock around them.
#include "zqm/model/ZQMDatabase.h"

#include "zqm/base/Exception.h"
#include "zqm/base/Mutex.h"
#include "zqm/core/ZQMUtils.h"
#include "zqm/platform/Process.h"
#include "zqm/util/PropertyList.h"

namespace zqm {
namespace {

constexpr std::string_view kQueueClass = "ZQMQueueModel";

// Recursive, so that a record's conversion may use the store.
PerProcess<RecursiveMutex> storeLock;

std::string fileName(std::string_view className) { return std::string(className) + ".plist"; }

std::optional<std::string> location(std::string_view className) {
  const auto container = ZQMUtils::getURLGroupContainer();
  if (!container) return std::nullopt;
  return *container + "/" + fileName(className);
}

}  // namespace

bool ZQMDatabase::save(std::string_view className, const std::function<Value()>& convert) {
  const RecursiveMutexLock lock(*storeLock);
  const auto path = location(className);
  const Value value = convert();
  if (value.isAbsent()) return false;
  // The queue alone has a side copy; nothing reads it.
  if (className == kQueueClass) saveToDocuments(value, fileName(className));
  if (!path) return false;
  const auto content = writePropertyList(value);
  return content && platform().files->writeAtomically(*path, *content);
}

Value ZQMDatabase::read(std::string_view className) {
  const RecursiveMutexLock lock(*storeLock);
  const auto path = location(className);
  const auto content = path ? platform().files->read(*path) : std::nullopt;
  return content ? readPropertyList(*content) : Value();
}

void ZQMDatabase::removeFile(std::string_view className) {
  const RecursiveMutexLock lock(*storeLock);
  const auto path = location(className);
  if (path && platform().files->exists(*path)) platform().files->remove(*path);
}

void ZQMDatabase::saveToDocuments(const Value& value, std::string_view name) {
  const auto documents = platform().directories->documents();
  const auto content = documents ? writePropertyList(value) : std::nullopt;
  if (content) platform().files->writeAtomically(*documents + "/" + std::string(name), *content);
}

Value ZQMDatabase::requireNoElements(const Value& plain) {
  if (plain.list() && !plain.list()->empty()) {
    throw Exception(kInvalidArgumentException, "toDictionary: not understood by a list's element");
  }
  return plain;
}

}  // namespace zqm
