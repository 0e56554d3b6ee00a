// What the frames of the queue's journal say, written and read.
#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "zqm/queue/ZQMQueueItems.h"

namespace zqm {

// Each function that writes appends a frame to `out`. False, and `out` is as it was, where that
// would be beyond what a frame can hold (4 GiB).

// An item and what the journal knows of it.
struct JournalItem {
  ZQMQueueItems::Item item;
  // One number for each occurrence in a journal; its own, since items may share an identity or have
  // none.
  std::uint64_t key = 0;
  // What its frame takes in the file.
  std::size_t size = 0;
};

// The first frame of a file: its form, and the ids of the files whose items it holds, as long as
// these may still be there.
bool putBegin(std::string& out, std::uint64_t file, const std::set<std::uint64_t>& adopted);

enum class End { tail, head };
// Sets the item's size.
bool putItem(std::string& out, std::uint64_t file, End end, JournalItem& item);

bool putRemoval(std::string& out, std::uint64_t file, std::span<const std::uint64_t> keys);

// The items of the file are the `count` ones that follow, and no others. They count only once all
// of them are there.
bool putReplacement(std::string& out, std::uint64_t file, std::uint64_t count);

struct JournalContent {
  enum class State {
    // To its end, or to where a power cut tore it.
    sound,
    // Nothing was ever written, or a power cut took it.
    blank,
    damaged,
    // Of a later version of this library.
    newer,
  };
  State state = State::blank;
  std::uint64_t file = 0;
  std::set<std::uint64_t> adopted;
  std::vector<JournalItem> items;
  std::uint64_t lastKey = 0;
  // How many bytes are sound, and whether others stand behind them.
  std::size_t size = 0;
  bool hasRest = false;
};

// Of a damaged file, what stands before the damage. Time and memory in proportion to the bytes,
// whatever they are.
JournalContent readJournal(std::string_view file);

}  // namespace zqm
