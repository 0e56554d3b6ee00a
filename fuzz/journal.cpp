// A queue's file, whole and cut. An odd first byte puts the checksums right.
#include "fuzz/Target.h"
#include "zqm/queue/JournalForm.h"

namespace zqm::fuzz {
namespace {

using State = JournalContent::State;

// The items of a file as a new one holds them.
std::string written(const JournalContent& content) {
  std::string made;
  require(putBegin(made, content.file, content.adopted), "a beginning can be written");
  for (JournalItem each : content.items) {
    require(putItem(made, content.file, End::tail, each), "what was read can be written");
  }
  return made;
}

}  // namespace

void tryOne(const Bytes& input) {
  const bool repairs = firstOf(input) % 2 == 1;
  const Bytes file = repairs ? withChecksums(withoutFirst(input)) : withoutFirst(input);
  const JournalContent whole = readJournal(asText(file));
  require(whole.size <= file.size(), "no more is sound than there is");
  require(whole.items.empty() || whole.file != 0 || whole.size > 0, "items stand in a file");
  const std::string_view sound = asText(file).substr(0, whole.size);
  if (whole.state == State::sound || whole.state == State::damaged) {
    const JournalContent again = readJournal(sound);
    require(again.state == (sound.empty() ? State::blank : State::sound), "what is sound stays so");
    require(written(again) == written(whole), "and says the same");
  }
  if (whole.state != State::sound) return;
  const std::string first = written(whole);
  const JournalContent again = readJournal(first);
  require(again.state == State::sound && again.size == first.size(), "what is written is whole");
  require(written(again) == first, "what is written reads back");
  const std::size_t size = file.size() * (firstOf(input) / 2) / 128;
  const JournalContent cut = readJournal(asText(file).substr(0, size));
  require(cut.state == State::sound || cut.state == State::blank,
          "a cut file is torn, not damaged");
}

}  // namespace zqm::fuzz
