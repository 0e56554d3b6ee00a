// A list's file, whole and cut. An odd first byte puts the checksums right.
#include "zqm/model/RecordLog.h"

#include "fuzz/Target.h"

namespace zqm::fuzz {
namespace {

// A record whose fields are whatever a file named.
struct Element {
  Dictionary entries;

  static void fields(const Element& self, auto visit) {
    for (const auto& [key, value] : self.entries) visit(key, value);
  }
};

struct Reading {
  std::optional<LogContent> content;
  // How many elements were made on the way.
  int made = 0;
};

Reading read(const Bytes& file) {
  Reading reading;
  reading.content = readLog(file, [&](Dictionary entries) {
    ++reading.made;
    return std::make_shared<const Element>(Element{std::move(entries)});
  });
  return reading;
}

// The file with one entry that adds these elements; none where they have too many fields.
std::optional<Bytes> written(const Bytes& file, const LogContent& content) {
  LogEntry entry({0, 0, content.elements.size()});
  for (const LogElement& each : content.elements) {
    const auto& element = *static_cast<const Element*>(each.get());
    const bool isAdded = entry.add(element);
    require(isAdded == (element.entries.size() < 0x80), "what was read can be written");
    if (!isAdded) return std::nullopt;
  }
  Bytes made(file.begin(), file.begin() + 20);
  const Bytes& framed = entry.framed(content.generation);
  made.insert(made.end(), framed.begin(), framed.end());
  return made;
}

}  // namespace

void tryOne(const Bytes& input) {
  const bool repairs = firstOf(input) % 2 == 1;
  const Bytes file = repairs ? withChecksums(withoutFirst(input)) : withoutFirst(input);
  const Reading whole = read(file);
  const std::size_t size = file.size() * (firstOf(input) / 2) / 128;
  const Reading cut = read(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size)));
  require(cut.made <= whole.made, "a cut file holds no more");
  require(!isDamagedLog(file) || (whole.content && !whole.content->isWhole),
          "a damaged file is a log that is not whole");
  require(!isBlankFile(file) || !whole.content, "a blank file is no log");
  if (!whole.content) return;
  const auto first = written(file, *whole.content);
  if (!first) return;
  const Reading again = read(*first);
  require(again.content && again.content->isWhole, "what is written is whole");
  require(written(file, *again.content) == first, "what is written reads back");
}

}  // namespace zqm::fuzz
