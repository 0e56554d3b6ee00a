// HandlerList: an ordered list of callbacks that all wait for the end of the same operation.
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "zqm/base/Mutex.h"

namespace zqm {

// Example: the callbacks of `ZQMCore::start`. The first `join` begins the start, later ones only
// add their callback to it; `run` calls them all at its end, and `clear` empties the list.
template <class... Args>
class HandlerList {
 public:
  using Handler = std::function<void(Args...)>;
  using Handlers = std::vector<Handler>;

  // Appends `handler`, unless it is empty, and returns the number of entries. Atomic, so that two
  // concurrent callers cannot both be the first.
  std::size_t append(Handler handler) {
    const MutexLock lock(mutex_);
    if (handler) handlers_.push_back(std::move(handler));
    return handlers_.size();
  }

  // Appends `handler` and calls `begin`, unless others are waiting already. If `begin` throws, the
  // list is emptied, since nothing else would do so.
  template <class Begin>
  void join(Handler handler, const Begin& begin) {
    // At most one entry: the list was empty before, or this call has an empty handler and one
    // handler waits. The second case begins again, too; intended.
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
    // The previous handlers are destroyed after the mutex is released.
    handlers_.swap(handlers);
  }

  // Never throws.
  void clear() { setHandlers({}); }

  // Calls every non-empty entry in order, without holding the mutex. The list is left unchanged: it
  // keeps its handlers if one of them throws, and a handler appended meanwhile is not called.
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
