// The files behind the store and the one lock around them.
#include "zqm/model/ZQMDatabase.h"

#include "zqm/base/Exception.h"
#include "zqm/base/Mutex.h"
#include "zqm/core/ZQMUtils.h"
#include "zqm/platform/Process.h"
#include "zqm/util/Encoding.h"
#include "zqm/util/PropertyList.h"

namespace zqm {
namespace {

constexpr std::string_view kQueueClass = "ZQMQueueModel";

PerProcess<RecursiveMutex> lock;

std::string fileName(std::string_view className) { return std::string(className) + ".plist"; }

}  // namespace

RecursiveMutex& storeLock() { return *lock; }

std::optional<std::string> ZQMDatabase::location(std::string_view className) {
  const auto container = ZQMUtils::getURLGroupContainer();
  if (!container) return std::nullopt;
  return *container + "/" + fileName(className);
}

std::string ZQMDatabase::copyLocation(std::string_view className) {
  const auto documents = platform().directories->documents();
  return documents ? *documents + "/" + fileName(className) : "";
}

bool ZQMDatabase::save(std::string_view className, const std::function<Value()>& convert) {
  const RecursiveMutexLock guard(storeLock());
  const auto path = location(className);
  const Value value = convert();
  if (value.isAbsent()) return false;
  // The queue alone has a side copy; nothing reads it.
  if (className == kQueueClass) saveToDocuments(value, fileName(className));
  if (!path) return false;
  const auto content = writePropertyList(value);
  return content && platform().files->writeAtomically(*path, *content);
}

std::optional<Bytes> ZQMDatabase::read(std::string_view className) {
  const RecursiveMutexLock guard(storeLock());
  const auto path = location(className);
  return path ? platform().files->read(*path) : std::nullopt;
}

Value ZQMDatabase::decoded(const Bytes& content) { return readPropertyList(content); }

void ZQMDatabase::removeFile(std::string_view className) {
  const RecursiveMutexLock guard(storeLock());
  const auto path = location(className);
  if (path && platform().files->exists(*path)) platform().files->remove(*path);
}

FileState ZQMDatabase::withoutContent(std::string_view className) {
  const auto path = location(className);
  if (!path) return FileState::noPlace;
  return platform().files->exists(*path) ? FileState::unreadable : FileState::none;
}

std::optional<std::string> ZQMDatabase::moveAside(std::string_view className) {
  const RecursiveMutexLock guard(storeLock());
  const auto path = location(className);
  if (!path) return std::nullopt;
  const std::string suffix = "-damaged-" + makeUuid();
  if (!platform().files->move(*path, *path + suffix)) return std::nullopt;
  return fileName(className) + suffix;
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
