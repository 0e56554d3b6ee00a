// The content of a new file of the queue's journal.
#pragma once

#include "zqm/queue/QueueJournal.h"

namespace zqm {

struct QueueJournal::Draft {
  // Adopted items: prioritised ones go before the own items, ordinary ones behind them.
  std::vector<JournalItem> front;
  std::vector<JournalItem> own;
  std::vector<JournalItem> back;
  // The ids of the adopted files.
  std::set<std::uint64_t> adopted;

  // Without locks: the adopted file, which has the only name.
  JournalFile* inPlaceOf = nullptr;

  std::uint64_t id = 0;
  // Own items with a larger key were added later.
  std::uint64_t lastKey = 0;
  std::shared_ptr<JournalFile> file;
  std::uint64_t size = 0;
};

}  // namespace zqm
