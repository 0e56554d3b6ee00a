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

std::optional<RecordPlace> ZQMDatabase::location(std::string_view className) {
  const auto container = ZQMUtils::getURLGroupContainer();
  if (!container) return std::nullopt;
  return RecordPlace{*container + "/" + fileName(className)};
}

bool ZQMDatabase::save(std::string_view className, const std::function<Value()>& convert) {
  const RecursiveMutexLock guard(storeLock());
  const auto place = location(className);
  const Value value = convert();
  if (value.isAbsent()) return false;
  saveSideCopy(className, value);
  if (!place) return false;
  const auto content = writePropertyList(value);
  return content && platform().files->writeAtomically(place->path, *content);
}

// The queue alone has one; nothing reads it.
void ZQMDatabase::saveSideCopy(std::string_view className, const Value& value) {
  if (className == kQueueClass) saveToDocuments(value, fileName(className));
}

std::optional<Bytes> ZQMDatabase::read(const RecordPlace& place) {
  return platform().files->read(place.path);
}

bool ZQMDatabase::exists(const RecordPlace& place) { return platform().files->exists(place.path); }

Value ZQMDatabase::decoded(const Bytes& content) { return readPropertyList(content); }

void ZQMDatabase::removeFile(std::string_view className) {
  const RecursiveMutexLock guard(storeLock());
  const auto place = location(className);
  if (place && exists(*place)) platform().files->remove(place->path);
}

std::optional<std::string> ZQMDatabase::moveAside(std::string_view className) {
  const RecursiveMutexLock guard(storeLock());
  const auto place = location(className);
  if (!place) return std::nullopt;
  const std::string suffix = "-damaged-" + makeUuid();
  if (!platform().files->move(place->path, place->path + suffix)) return std::nullopt;
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
