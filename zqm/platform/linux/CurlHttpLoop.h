// The I/O thread and its transfers. Private to the transport.
#pragma once

#include <curl/curl.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <utility>

#include "zqm/base/Mutex.h"
#include "zqm/base/WorkerPool.h"
#include "zqm/platform/linux/CurlHttpTransfer.h"

namespace zqm {

// The thread comes with the first transfer, owns the loop while it runs, and goes when idle. Where
// there is no memory, a transfer fails and the loop goes on.
class CurlHttpLoop : public std::enable_shared_from_this<CurlHttpLoop> {
 public:
  explicit CurlHttpLoop(std::chrono::milliseconds idleTime);
  ~CurlHttpLoop();
  CurlHttpLoop(const CurlHttpLoop&) = delete;
  CurlHttpLoop& operator=(const CurlHttpLoop&) = delete;

  void submit(std::unique_ptr<CurlHttpTransfer> transfer) ZQM_EXCLUDES(mutex_);
  // Every transfer ends with an error. Nothing may be submitted after it.
  void close() ZQM_EXCLUDES(mutex_);

 private:
  // A transfer goes from one list to the next, which takes no memory.
  using Transfers = std::list<std::unique_ptr<CurlHttpTransfer>>;
  struct Turn {
    Transfers incoming;
    bool closing = false;
  };

  void wake();
  void refuse(Error (*error)()) ZQM_EXCLUDES(mutex_);
  void complete(Transfers transfers);

  // The rest runs on the I/O thread.
  void run();
  void makeMulti();
  std::optional<Turn> nextTurn(bool busy) ZQM_EXCLUDES(mutex_);
  void start(Transfers transfers);
  bool add(CurlHttpTransfer& transfer);
  void perform();
  void end(Error (*error)(), const std::function<bool(const CurlHttpTransfer&)>& chosen);
  void endOverdue();
  void endAll();
  bool poll();

  const std::chrono::milliseconds idleTime_;
  WorkerPool completions_;

  Mutex mutex_;
  Transfers incoming_ ZQM_GUARDED_BY(mutex_);
  bool running_ ZQM_GUARDED_BY(mutex_) = false;
  bool closing_ ZQM_GUARDED_BY(mutex_) = false;

  // Made on the I/O thread; kept when that goes, with the authorities that it has read.
  std::atomic<CURLM*> multi_ = nullptr;
  Transfers active_;
};

}  // namespace zqm
