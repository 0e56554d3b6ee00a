// The transport's I/O thread and its transfers. Private to the transport.
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
#include "zqm/platform/WorkerPool.h"
#include "zqm/platform/curl/CurlHttpTransfer.h"

namespace zqm {

// The I/O thread starts with the first transfer and exits when idle. Running out of memory fails
// the transfer, not the loop.
class CurlHttpLoop : public std::enable_shared_from_this<CurlHttpLoop> {
 public:
  explicit CurlHttpLoop(std::chrono::milliseconds idleTime);
  ~CurlHttpLoop();
  CurlHttpLoop(const CurlHttpLoop&) = delete;
  CurlHttpLoop& operator=(const CurlHttpLoop&) = delete;

  void submit(std::unique_ptr<CurlHttpTransfer> transfer) ZQM_EXCLUDES(mutex_);
  // Ends every transfer with an error. Nothing may be submitted afterwards.
  void close() ZQM_EXCLUDES(mutex_);

 private:
  using Clock = CurlHttpDeadline::Clock;
  // Transfers are spliced from one list to the next, which allocates nothing.
  using Transfers = std::list<std::unique_ptr<CurlHttpTransfer>>;
  struct Turn {
    Transfers incoming;
    bool closing = false;
  };

  void wake();
  void refuse(Error (*error)()) ZQM_EXCLUDES(mutex_);
  void complete(Transfers transfers);

  // The remaining functions run on the I/O thread.
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

  // Created on the I/O thread; outlives it, because it caches the certificate authorities.
  std::atomic<CURLM*> multi_ = nullptr;
  Transfers active_;
};

}  // namespace zqm
