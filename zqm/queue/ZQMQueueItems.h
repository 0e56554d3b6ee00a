// ZQMQueueItems: the items of a queue, in order.
#pragma once

#include <memory>
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
  const Item& at(std::size_t index) const;
  // Makes the exception that `at` throws.
  static Exception beyond(std::size_t index, std::size_t count);

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
