// HandlerList: callbacks that wait, in order, for one outcome.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "zqm/base/Mutex.h"

namespace zqm {

template <class... Args>
class HandlerList {
 public:
  using Handler = std::function<void(Args...)>;
  using Handlers = std::vector<Handler>;

  // Appends `handler`, unless it is empty, and returns the number of entries: one step, so that
  // two callers cannot both see themselves as the first.
  std::size_t append(Handler handler) {
    const MutexLock lock(mutex_);
    if (handler) {
      auto next = handlers_ ? std::make_shared<Handlers>(*handlers_) : std::make_shared<Handlers>();
      next->push_back(std::move(handler));
      handlers_ = std::move(next);
    }
    return handlers_ ? handlers_->size() : 0;
  }

  Handlers handlers() const {
    const auto current = snapshot();
    return current ? *current : Handlers();
  }

  void setHandlers(Handlers handlers) {
    replace(std::make_shared<const Handlers>(std::move(handlers)));
  }

  // Throws nothing.
  void clear() { replace(nullptr); }

  // Calls every entry in order, without a lock. The list stays as it is: a handler that throws
  // leaves it occupied, and one that appends finds it occupied.
  void run(Args... args) const {
    const auto current = snapshot();
    if (!current) return;
    for (const Handler& handler : *current) handler(args...);
  }

 private:
  std::shared_ptr<const Handlers> snapshot() const {
    const MutexLock lock(mutex_);
    return handlers_;
  }

  // What they replace is destroyed after the lock.
  void replace(std::shared_ptr<const Handlers> handlers) {
    const MutexLock lock(mutex_);
    handlers_.swap(handlers);
  }

  mutable Mutex mutex_;
  // Null for none.
  std::shared_ptr<const Handlers> handlers_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
