// ZQMQueueModel: the ordered list of pending requests.
#pragma once

#include <optional>

#include "zqm/queue/ZQMQueueItems.h"

namespace zqm {

class ZQM_EXPORT ZQMQueueModel : public Record<ZQMQueueModel> {
 public:
  static constexpr std::string_view kClassName = "ZQMQueueModel";

  // Head first; absent if nothing was ever queued.
  std::optional<ZQMQueueItems> data;

  // The number of items; 0 without a list.
  std::size_t count() const { return data ? data->size() : 0; }

  // Returns the items' dictionaries in queue order; empty without a list.
  List dataToArray() const;
  // Makes items of such a list. Elements that are no dictionaries are left out.
  static ZQMQueueItems arrayToData(const List& dictionaries);

  // Puts an ordinary item at the tail whatever its date, a prioritised one before all others.
  void addData(ZQMQueueItems::Item record);
  // Removes this object, but not others with equal fields. Logs the removal to a file.
  void removeData(const ZQMQueueItems::Item& record);
  static void logRemoval();

  static constexpr auto kFields = std::tuple{member("data", &Self::data)};

  // The store keeps this record in the process's journal.
  struct File {
    static bool save(const ZQMQueueModel& model);
    static std::optional<ZQMQueueModel> read();
    static void remove();
  };
};

}  // namespace zqm
