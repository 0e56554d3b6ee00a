// The files of the store and the lock that serializes access to them.
#include "zqm/model/ZQMDatabase.h"

#include "zqm/base/Exception.h"
#include "zqm/core/settings/Resources.h"
#include "zqm/model/Frame.h"
#include "zqm/model/RecordFile.h"
#include "zqm/util/Encoding.h"

namespace zqm {
namespace {

PerProcess<RecursiveMutex> lock;

// Returns the file's new name.
std::optional<std::string> quarantine(const std::string& path) {
  const std::string kept = path + "-damaged-" + makeUuid();
  if (!platform().files->move(path, kept)) return std::nullopt;
  return kept.substr(kept.rfind('/') + 1);
}

}  // namespace

RecursiveMutex& storeLock() { return *lock; }

std::optional<std::string> ZQMDatabase::pathOf(std::string_view className) {
  const auto container = groupContainer();
  if (!container) return std::nullopt;
  return *container + "/" + std::string(className) + ".plist";
}

Saved ZQMDatabase::saveFile(std::string_view className, const Value& value) {
  const auto path = pathOf(className);
  const auto content = writeRecordFile(value);
  if (!content || !path) return {};
  Saved saved;
  if (read(path).state == FileState::damaged) {
    saved.keptAs = quarantine(*path);
    if (!saved.keptAs) return saved;
  }
  saved.isDone = platform().files->writeAtomically(*path, *content);
  return saved;
}

ZQMDatabase::Reading ZQMDatabase::read(const std::optional<std::string>& path) {
  // The host's package names the container: while it cannot be read, a record may exist.
  if (!path) {
    return {platform().packages->mainPackage() ? FileState::noPlace : FileState::unreadable};
  }
  const FileContent found = platform().files->contentOf(*path);
  switch (found.state) {
    case FileContent::none:
      return {FileState::none};
    case FileContent::notNow:
      return {FileState::unreadable};
    case FileContent::foreign:
      return {FileState::damaged};
    case FileContent::whole:
      break;
  }
  // After a power loss during the first write.
  if (isZero(asText(found.bytes))) return {FileState::none};
  auto root = readRecordFile(found.bytes);
  if (!root) return {FileState::damaged};
  return {FileState::sound, *std::move(root)};
}

void ZQMDatabase::removeFile(std::string_view className) {
  const auto path = pathOf(className);
  if (path && platform().files->exists(*path)) platform().files->remove(*path);
}

void ZQMDatabase::saveToDocuments(const Value& value, std::string_view name) {
  const auto documents = platform().directories->documents();
  const auto content = writeRecordFile(value);
  if (!documents || !content) return;
  platform().files->writeAtomically(*documents + "/" + std::string(name), *content);
}

const Value& ZQMDatabase::requireNoElements(const Value& plain) {
  if (plain.list() && !plain.list()->empty()) {
    throw Exception(kInvalidArgumentException, "toDictionary: not understood by a list's element");
  }
  return plain;
}

}  // namespace zqm
