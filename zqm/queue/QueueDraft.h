// What a new file of the queue's journal is to hold.
#pragma once

#include "zqm/queue/QueueJournal.h"

namespace zqm {

struct QueueJournal::Draft {
  // Adopted: prioritised items stand before the own ones, ordinary ones behind them.
  std::vector<JournalItem> front;
  std::vector<JournalItem> own;
  std::vector<JournalItem> back;
  // Where the adopted ones come from.
  std::set<std::uint64_t> adopted;

  // Without locks: the file that has the only name.
  JournalFile* inPlaceOf = nullptr;

  std::uint64_t id = 0;
  // Own items with a larger key came later.
  std::uint64_t lastKey = 0;
  std::shared_ptr<JournalFile> file;
  std::uint64_t size = 0;
};

}  // namespace zqm
