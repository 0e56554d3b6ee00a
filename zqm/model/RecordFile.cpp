// Writes and reads a value in its frame, and checks that it can be stored.
#include "zqm/model/RecordFile.h"

#include <algorithm>

#include "zqm/model/Frame.h"
#include "zqm/util/Cbor.h"

namespace zqm {
namespace {

// Counts values and levels as the reader does.
bool isStorable(const Value& value, std::size_t level, std::size_t& count) {
  if (value.isAbsent() || value.isNull() || ++count > kMostCborValues) return false;
  if (!value.list() && !value.dictionary()) return true;
  if (level == kMostCborLevels) return false;
  if (const List* list = value.list()) {
    return std::ranges::all_of(
        *list, [&](const Value& each) { return isStorable(each, level + 1, count); });
  }
  return std::ranges::all_of(*value.dictionary(), [&](const DictionaryEntry& each) {
    ++count;
    return isStorable(each.value, level + 1, count);
  });
}

bool isStorable(const Value& value) {
  std::size_t count = 0;
  return isStorable(value, 0, count);
}

}  // namespace

std::optional<Bytes> writeRecordFile(const Value& value) {
  if (!isStorable(value)) return std::nullopt;
  std::string file;
  FrameWriter frame(file);
  putCbor(file, value);
  return frame.finish(makeFileId()) ? std::optional(toBytes(file)) : std::nullopt;
}

std::optional<Value> readRecordFile(const Bytes& file) {
  const auto frame = frameAt(asText(file), 0, std::nullopt);
  if (!frame || frame->size() != file.size()) return std::nullopt;
  auto value = readCbor(frame->payload);
  return value && isStorable(*value) ? std::move(value) : std::nullopt;
}

}  // namespace zqm
