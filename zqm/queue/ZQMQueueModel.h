// ZQMQueueModel: the ordered list of pending requests.
#pragma once

#include <optional>

#include "zqm/queue/ZQMQueueItems.h"

namespace zqm {

class ZQM_EXPORT ZQMQueueModel : public Record<ZQMQueueModel> {
 public:
  static constexpr std::string_view kClassName = "ZQMQueueModel";

  // Head first; absent when nothing was ever queued.
  std::optional<ZQMQueueItems> data;

  // How many items there are; 0 without a list.
  std::size_t count() const { return data ? data->size() : 0; }

  // The items' dictionaries, in queue order; empty without a list.
  List dataToArray() const;
  // The items of such a list; what is no dictionary is left out.
  static ZQMQueueItems arrayToData(const List& dictionaries);

  // An ordinary item goes to the tail whatever its date, a prioritised one before all others.
  void addData(ZQMQueueItems::Item record);
  // Takes out this very object; one that only equals it stays. Logs the removal, to a file.
  void removeData(const ZQMQueueItems::Item& record);
  static void logRemoval();

  static constexpr auto kFields = std::tuple{member("data", &Self::data)};

  // The store keeps this record in a journal of the process.
  struct File {
    static bool save(const ZQMQueueModel& model);
    static std::optional<ZQMQueueModel> read();
    static void remove();
  };
};

}  // namespace zqm
