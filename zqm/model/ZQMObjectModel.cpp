// The base of all records: the abstract operations and JSON.
#include "zqm/model/ZQMObjectModel.h"

#include "zqm/base/Exception.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/util/Json.h"

namespace zqm {
namespace {

std::optional<Bytes> jsonBytes(const Value& value) {
  const JsonWriting json = writeJson(value);
  if (!json.error) return toBytes(json.text);
  ZQMLogHandler::logError(*json.error, kCoreModule, 4);
  return std::nullopt;
}

}  // namespace

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

std::optional<Bytes> toData(const Dictionary& dictionary) { return jsonBytes(dictionary); }

std::optional<Bytes> toData(const List& list) { return jsonBytes(list); }

}  // namespace zqm
