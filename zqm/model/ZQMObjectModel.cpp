// The base of all records: the abstract operations and JSON.
#include "zqm/model/ZQMObjectModel.h"

#include "zqm/base/Exception.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/util/Json.h"

namespace zqm {

ZQMObjectModel::~ZQMObjectModel() = default;

Dictionary ZQMObjectModel::toDictionary() const { throw mustOverride("toDictionary"); }

std::optional<ZQMObjectModel> ZQMObjectModel::initWithDictionary(const Value&) {
  throw mustOverride("initWithDictionary:");
}

std::string ZQMObjectModel::toStringJson() const {
  const Dictionary dictionary = toDictionary();
  // Callers can tell the two failures apart: nothing to write, and not representable in JSON.
  if (dictionary.empty()) return "ERROR";
  const JsonWriting json = writeJson(dictionary);
  return json.error ? "" : json.text;
}

std::optional<Bytes> toData(const Value& content) {
  const JsonWriting json = writeJson(content);
  if (!json.error) return toBytes(json.text);
  ZQMLogHandler::logError(*json.error, kCoreModule, 4);
  return std::nullopt;
}

}  // namespace zqm
