// One frame for each change; its payload is a CBOR sequence that begins with the kind of change.
#include "zqm/queue/JournalForm.h"

#include <algorithm>
#include <deque>
#include <optional>
#include <utility>

#include "zqm/model/Frame.h"
#include "zqm/util/Cbor.h"

namespace zqm {
namespace {

constexpr std::uint64_t kForm = 1;

enum class Kind : std::uint64_t { begin, tail, head, remove, replace };

std::string& putKind(std::string& out, Kind kind) {
  putCborNumber(out, static_cast<std::uint64_t>(kind));
  return out;
}

// Writes the item's fields as a dictionary; absent ones are left out.
void putFields(std::string& out, const ZQMQueueDataModel& item) {
  const auto forEachField = [&](const auto& visit) {
    ZQMQueueDataModel::fields(item, [&](std::string_view name, const auto& member) {
      if constexpr (std::is_same_v<std::decay_t<decltype(member)>, Value>) {
        if (member.isPresent()) visit(name, member);
      } else if (const Value value = member; value.isPresent()) {
        visit(name, value);
      }
    });
  };
  std::size_t count = 0;
  forEachField([&](std::string_view, const Value&) { ++count; });
  putCborDictionary(out, count);
  forEachField([&](std::string_view name, const Value& value) {
    putCborText(out, name);
    putCbor(out, value);
  });
}

std::optional<std::uint64_t> takeNumber(std::string_view& payload) {
  const auto value = takeCbor(payload);
  const auto number = value ? value->integer() : std::nullopt;
  return number && *number >= 0 ? std::optional(static_cast<std::uint64_t>(*number)) : std::nullopt;
}

// Returns std::nullopt if the payload contains anything but numbers.
std::optional<std::vector<std::uint64_t>> numbersIn(std::string_view payload) {
  std::vector<std::uint64_t> numbers;
  while (!payload.empty()) {
    const auto number = takeNumber(payload);
    if (!number) return std::nullopt;
    numbers.push_back(*number);
  }
  return numbers;
}

std::optional<JournalItem> itemIn(std::string_view payload, std::size_t size) {
  const auto key = takeNumber(payload);
  auto value = key ? takeCbor(payload) : std::nullopt;
  auto fields = value && payload.empty() ? std::move(*value).takeDictionary() : std::nullopt;
  if (!fields) return std::nullopt;
  return JournalItem{std::make_shared<const ZQMQueueDataModel>(
                         ZQMQueueDataModel::initWithCoder(Coder(*std::move(fields)))),
                     *key, size};
}

// Applies the frames of a file in their order.
class Reader {
 public:
  explicit Reader(JournalContent& content) : content_(content) {}

  // Returns false if the frame has no valid meaning.
  bool take(const Frame& frame, std::size_t at) {
    std::string_view payload = frame.payload;
    const auto kind = takeNumber(payload);
    if (!kind || (at == 0) != (*kind == static_cast<std::uint64_t>(Kind::begin))) return false;
    const auto known = static_cast<Kind>(*kind);
    if (isReplacing_ && known != Kind::tail) return false;
    switch (known) {
      case Kind::begin:
        return takeBegin(payload, frame.id);
      case Kind::tail:
        return takeItem(payload, frame.size(), End::tail);
      case Kind::head:
        return takeItem(payload, frame.size(), End::head);
      case Kind::remove:
        return takeRemoval(payload);
      case Kind::replace:
        return takeReplacement(payload, at);
    }
    return false;
  }

  // Completes the content.
  void finish(std::size_t sound) {
    std::ranges::sort(removed_);
    for (JournalItem& each : items_) {
      if (std::ranges::binary_search(removed_, each.key)) continue;
      content_.items.push_back(std::move(each));
    }
    content_.size = isReplacing_ ? replacementAt_ : sound;
  }

 private:
  bool takeBegin(std::string_view payload, std::uint64_t file) {
    const auto form = takeNumber(payload);
    const bool isNewer = form && *form > kForm;
    // What follows in a later form is not known.
    auto ids = isNewer ? std::vector<std::uint64_t>() : numbersIn(payload);
    if (!form || !ids) return false;
    // Sorted, because filling a set with millions of unsorted ids takes a microsecond for each.
    std::ranges::sort(*ids);
    content_.state = isNewer ? JournalContent::State::newer : JournalContent::State::sound;
    content_.file = file;
    content_.adopted = {ids->begin(), ids->end()};
    return true;
  }

  bool takeItem(std::string_view payload, std::size_t size, End end) {
    auto item = itemIn(payload, size);
    if (!item) return false;
    content_.lastKey = std::max(content_.lastKey, item->key);
    auto& items = isReplacing_ ? replacement_ : items_;
    end == End::head ? items.push_front(*std::move(item)) : items.push_back(*std::move(item));
    if (isReplacing_) replaceOnceWhole();
    return true;
  }

  bool takeRemoval(std::string_view payload) {
    const auto keys = numbersIn(payload);
    if (keys) removed_.insert(removed_.end(), keys->begin(), keys->end());
    return keys.has_value();
  }

  bool takeReplacement(std::string_view payload, std::size_t at) {
    const auto count = takeNumber(payload);
    if (!count || !payload.empty()) return false;
    replacement_.clear();
    replacementSize_ = *count;
    replacementAt_ = at;
    isReplacing_ = true;
    replaceOnceWhole();
    return true;
  }

  void replaceOnceWhole() {
    if (replacement_.size() < replacementSize_) return;
    items_ = std::move(replacement_);
    removed_.clear();
    isReplacing_ = false;
  }

  JournalContent& content_;
  std::deque<JournalItem> items_;
  std::vector<std::uint64_t> removed_;
  bool isReplacing_ = false;
  std::deque<JournalItem> replacement_;
  std::uint64_t replacementSize_ = 0;
  std::size_t replacementAt_ = 0;
};

}  // namespace

bool putBegin(std::string& out, std::uint64_t file, const std::set<std::uint64_t>& adopted) {
  FrameWriter frame(out);
  putCborNumber(putKind(out, Kind::begin), kForm);
  for (const std::uint64_t id : adopted) putCborNumber(out, id);
  return frame.finish(file);
}

bool putItem(std::string& out, std::uint64_t file, End end, JournalItem& item) {
  const std::size_t before = out.size();
  FrameWriter frame(out);
  putCborNumber(putKind(out, end == End::head ? Kind::head : Kind::tail), item.key);
  putFields(out, *item.item);
  const bool isWhole = frame.finish(file);
  item.size = out.size() - before;
  return isWhole;
}

bool putRemoval(std::string& out, std::uint64_t file, std::span<const std::uint64_t> keys) {
  FrameWriter frame(out);
  putKind(out, Kind::remove);
  for (const std::uint64_t key : keys) putCborNumber(out, key);
  return frame.finish(file);
}

bool putReplacement(std::string& out, std::uint64_t file, std::uint64_t count) {
  FrameWriter frame(out);
  putCborNumber(putKind(out, Kind::replace), count);
  return frame.finish(file);
}

JournalContent readJournalBegin(std::string_view begin) {
  JournalContent content;
  const auto frame = frameAt(begin, 0, std::nullopt);
  if (frame) Reader(content).take(*frame, 0);
  return content;
}

JournalContent readJournal(std::string_view file) {
  JournalContent content;
  Reader reader(content);
  std::size_t at = 0;
  bool isTorn = false;
  while (at < file.size()) {
    const auto frame = frameAt(file, at, at == 0 ? std::nullopt : std::optional(content.file));
    isTorn = !frame && isTornAt(file, at);
    if (!frame) break;
    if (!reader.take(*frame, at)) break;
    if (content.state == JournalContent::State::newer) return content;
    at += frame->size();
  }
  reader.finish(at);
  content.hasRest = content.size < file.size();
  if (at < file.size() && !isTorn) content.state = JournalContent::State::damaged;
  return content;
}

}  // namespace zqm
