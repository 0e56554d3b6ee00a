// Writes and reads the frames of the queue's journal. JournalForm.cpp has the kinds of payloads;
// docs/architecture.md describes them.
#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "zqm/queue/ZQMQueueItems.h"

namespace zqm {

// Each put function appends a frame to `out`. If that would exceed 4 GiB, the limit of a frame, it
// returns false and leaves `out` as it was.

// An item with its place in a journal.
struct JournalItem {
  ZQMQueueItems::Item item;
  // Unique for each occurrence in a journal. The journal's own number, since items may have equal
  // identities or none.
  std::uint64_t key = 0;
  // The size of its frame in the file.
  std::size_t size = 0;
};

// Writes the first frame of a file: its form, and the ids of adopted files, whose items this file
// contains, for as long as those files may still exist.
bool putBegin(std::string& out, std::uint64_t file, const std::set<std::uint64_t>& adopted);

enum class End { tail, head };
// Sets the item's size.
bool putItem(std::string& out, std::uint64_t file, End end, JournalItem& item);

bool putRemoval(std::string& out, std::uint64_t file, std::span<const std::uint64_t> keys);

// Announces that the next `count` items replace all items of the file. A reader applies this only
// if all of them are there.
bool putReplacement(std::string& out, std::uint64_t file, std::uint64_t count);

struct JournalContent {
  enum class State {
    // Valid to its end, or to where a power loss tore it.
    sound,
    // Nothing was ever written, or a power loss took it.
    blank,
    damaged,
    // Written by a later version of this library.
    newer,
  };
  State state = State::blank;
  std::uint64_t file = 0;
  std::set<std::uint64_t> adopted;
  std::vector<JournalItem> items;
  std::uint64_t lastKey = 0;
  // The number of valid bytes, and whether others follow them.
  std::size_t size = 0;
  bool hasRest = false;
};

// Reads a file; of a damaged one, the content before the damage. Time and memory are proportional
// to the size of the file, whatever it contains.
JournalContent readJournal(std::string_view file);

// Reads the first frame alone: state, id, and the ids of the adopted files.
JournalContent readJournalBegin(std::string_view begin);

}  // namespace zqm
