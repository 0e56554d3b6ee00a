// ZQMQueueItems: the items of a queue, in order.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zqm/base/Exception.h"
#include "zqm/queue/ZQMQueueDataModel.h"

namespace zqm {

// A value type. The items themselves are immutable and shared.
class ZQM_EXPORT ZQMQueueItems {
 public:
  using Record = ZQMQueueDataModel;
  using Item = std::shared_ptr<const ZQMQueueDataModel>;

  std::size_t size() const { return items_.size(); }
  std::vector<Item>::const_iterator begin() const { return items_.begin(); }
  std::vector<Item>::const_iterator end() const { return items_.end(); }

  // Throws "NSRangeException" past the end.
  const Item& at(std::size_t index) const {
    if (index >= items_.size()) throw beyond(index, items_.size());
    return items_[index];
  }
  // Makes the exception that `at` throws.
  static Exception beyond(std::size_t index, std::size_t count) {
    std::string reason = "index ";
    reason.append(std::to_string(index)).append(" beyond the list's ");
    return {kRangeException, reason.append(std::to_string(count)).append(" items")};
  }

  void append(Item item) { items_.push_back(std::move(item)); }
  template <class Visit>
  void forEach(const Visit& visit) const {
    for (const Item& each : items_) visit(*each);
  }

  void prepend(Item item) { items_.insert(items_.begin(), std::move(item)); }
  // Removes every occurrence of this object. Other objects with equal fields stay.
  void remove(const Item& item) { std::erase(items_, item); }

 private:
  std::vector<Item> items_;
};

}  // namespace zqm
