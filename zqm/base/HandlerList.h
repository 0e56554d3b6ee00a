// HandlerList: callbacks that wait, in order, for one outcome.
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "zqm/base/Mutex.h"

namespace zqm {

// For example the callbacks of `ZQMCore::start`, which wait for the end of the one start that is
// under way: `join` begins it, `run` and `clear` end it.
template <class... Args>
class HandlerList {
 public:
  using Handler = std::function<void(Args...)>;
  using Handlers = std::vector<Handler>;

  // Appends `handler`, unless it is empty, and returns the number of entries: one step, so that
  // two callers cannot both see themselves as the first.
  std::size_t append(Handler handler) {
    const MutexLock lock(mutex_);
    if (handler) handlers_.push_back(std::move(handler));
    return handlers_.size();
  }

  // Appends `handler` and, unless others wait already, calls `begin`. Where that throws, the list
  // is emptied, since nothing else would do it.
  template <class Begin>
  void join(Handler handler, const Begin& begin) {
    // A call without a handler never occupies the list, hence the one entry that still counts as
    // nobody waiting.
    if (append(std::move(handler)) > 1) return;
    try {
      begin();
    } catch (...) {
      clear();
      throw;
    }
  }

  Handlers handlers() const {
    const MutexLock lock(mutex_);
    return handlers_;
  }

  void setHandlers(Handlers handlers) {
    const MutexLock lock(mutex_);
    // What they replace is destroyed after the lock.
    handlers_.swap(handlers);
  }

  // Throws nothing.
  void clear() { setHandlers({}); }

  // Calls every entry in order, without a lock; an empty one is skipped. The list stays as it is: a
  // handler that throws leaves it occupied, and one that appends finds it occupied.
  void run(Args... args) const {
    for (const Handler& handler : handlers()) {
      if (handler) handler(args...);
    }
  }

 private:
  mutable Mutex mutex_;
  Handlers handlers_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
