// Checks the range.
#include "zqm/queue/ZQMQueueItems.h"

#include <string>

namespace zqm {

const ZQMQueueItems::Item& ZQMQueueItems::at(std::size_t index) const {
  if (index >= items_.size()) throw beyond(index, items_.size());
  return items_[index];
}

Exception ZQMQueueItems::beyond(std::size_t index, std::size_t count) {
  std::string reason = "index ";
  reason.append(std::to_string(index)).append(" beyond the list's ");
  return {kRangeException, reason.append(std::to_string(count)).append(" items")};
}

}  // namespace zqm
