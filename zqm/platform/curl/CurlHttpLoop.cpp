// The loop over libcurl's multi interface.
#include "zqm/platform/curl/CurlHttpLoop.h"

#include <algorithm>
#include <limits>
#include <thread>

#include "zqm/base/Exception.h"
#include "zqm/base/System.h"
#include "zqm/crypto/openssl/OpenSslGate.h"
#include "zqm/platform/curl/CurlHttpError.h"

namespace zqm {
namespace {

constexpr std::size_t kCompletionThreads = 64;
// Keeps one server from using up the host's descriptors or the connections of other servers.
constexpr long kConnections = 128;
constexpr long kConnectionsOfOneServer = 32;
// The pause after a poll that failed.
constexpr std::chrono::milliseconds kFailedPollPause{20};

// Takes a step of the transfer. Returns false if it is finished, also when memory runs out.
template <class Step>
bool attempt(CurlHttpTransfer& transfer, const Step& step) {
  bool isActive = false;
  if (!guarded([&] { isActive = step(); })) transfer.fail(std::nullopt);
  return isActive;
}

int pollTime(CurlHttpDeadline::Clock::duration wait) {
  // Rounded up, so that the poll does not end just before the deadline.
  const auto time = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
  return static_cast<int>(std::clamp<std::int64_t>(time, 0, std::numeric_limits<int>::max()));
}

}  // namespace

CurlHttpLoop::CurlHttpLoop(std::chrono::milliseconds idleTime)
    : idleTime_(idleTime), completions_("zqm-completion", kCompletionThreads) {}

CurlHttpLoop::~CurlHttpLoop() {
  CURLM* const multi = multi_;
  if (!multi) return;
  const OpenSslGate gate;
  if (gate) curl_multi_cleanup(multi);
}

void CurlHttpLoop::submit(std::unique_ptr<CurlHttpTransfer> transfer) {
  bool running = false;
  {
    const MutexLock lock(mutex_);
    incoming_.push_back(std::move(transfer));
    running = std::exchange(running_, true);
  }
  if (running) return wake();
  bool started = false;
  guarded([&] { started = startThread("zqm-http", [self = shared_from_this()] { self->run(); }); });
  if (started) return;
  refuse([] { return transportError(httpError::kNoThread, "The system has no thread left."); });
}

void CurlHttpLoop::close() {
  {
    const MutexLock lock(mutex_);
    closing_ = true;
  }
  wake();
}

void CurlHttpLoop::wake() {
  if (CURLM* const multi = multi_) curl_multi_wakeup(multi);
}

void CurlHttpLoop::refuse(Error (*error)()) {
  Transfers refused;
  {
    const MutexLock lock(mutex_);
    refused.swap(incoming_);
    running_ = false;
  }
  for (const auto& transfer : refused) {
    attempt(*transfer, [&] { return transfer->fail(error()); });
  }
  complete(std::move(refused));
}

// Without memory for the task, a transfer is destroyed with its callback uncalled.
void CurlHttpLoop::complete(Transfers transfers) {
  for (auto& transfer : transfers) {
    guarded([&] {
      completions_.submit([shared = std::shared_ptr(std::move(transfer))] {
        // A callback reports its own exceptions: only it knows what it was called for.
        guarded([&] { shared->complete(); });
      });
    });
  }
}

void CurlHttpLoop::run() {
  // The gate and libcurl are set up first; afterwards only transfers allocate memory.
  if (!multi_ && !guarded([this] { makeMulti(); })) {
    return refuse([] { return curlError(CURLE_OUT_OF_MEMORY); });
  }
  bool busy = true;
  while (auto turn = nextTurn(busy)) {
    start(std::move(turn->incoming));
    if (turn->closing) endAll();
    perform();
    endOverdue();
    busy = !turn->closing && poll();
  }
}

void CurlHttpLoop::makeMulti() {
  const OpenSslGate gate;
  // Never undone, because the host or another of its libraries may be using libcurl too.
  static const CURLcode once = curl_global_init(CURL_GLOBAL_DEFAULT);
  static_cast<void>(once);
  CURLM* const multi = curl_multi_init();
  curl_multi_setopt(multi, CURLMOPT_MAX_TOTAL_CONNECTIONS, kConnections);
  curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, kConnectionsOfOneServer);
  multi_ = multi;
}

// Returns std::nullopt if the thread must exit. The loop may then belong to the next thread.
std::optional<CurlHttpLoop::Turn> CurlHttpLoop::nextTurn(bool busy) {
  const MutexLock lock(mutex_);
  running_ = busy || !incoming_.empty();
  if (!running_) return std::nullopt;
  if (closing_ || incoming_.size() < 2) return Turn{std::exchange(incoming_, {}), closing_};
  // One by one, because an exit waits for the TLS set-up of a whole turn, milliseconds each.
  Turn turn;
  turn.incoming.splice(turn.incoming.end(), incoming_, incoming_.begin());
  wake();
  return turn;
}

void CurlHttpLoop::start(Transfers transfers) {
  Transfers ended;
  {
    const OpenSslGate gate;
    while (!transfers.empty()) {
      CurlHttpTransfer& transfer = *transfers.front();
      const bool isActive = attempt(transfer, [&] { return transfer.start() && add(transfer); });
      Transfers& next = isActive ? active_ : ended;
      next.splice(next.end(), transfers, transfers.begin());
    }
  }
  complete(std::move(ended));
}

// Returns false if libcurl refuses the transfer, which then has an error.
bool CurlHttpLoop::add(CurlHttpTransfer& transfer) {
  if (curl_multi_add_handle(multi_, transfer.handle()) == CURLM_OK) return true;
  return transfer.fail(curlError(CURLE_FAILED_INIT));
}

void CurlHttpLoop::perform() {
  Transfers ended;
  {
    const OpenSslGate gate;
    int count = 0;
    curl_multi_perform(multi_, &count);
    while (const CURLMsg* const message = curl_multi_info_read(multi_, &count)) {
      CURL* const handle = message->easy_handle;
      const auto found =
          std::ranges::find(active_, handle, [](const auto& each) { return each->handle(); });
      if (message->msg != CURLMSG_DONE || found == active_.end()) continue;
      CurlHttpTransfer& transfer = **found;
      const CURLcode result = message->data.result;
      curl_multi_remove_handle(multi_, handle);
      const bool isActive =
          attempt(transfer, [&] { return transfer.proceed(result) && add(transfer); });
      if (!isActive) ended.splice(ended.end(), active_, found);
    }
  }
  complete(std::move(ended));
}

void CurlHttpLoop::end(Error (*error)(),
                       const std::function<bool(const CurlHttpTransfer&)>& chosen) {
  Transfers ended;
  {
    const OpenSslGate gate;
    for (auto each = active_.begin(); each != active_.end();) {
      const auto current = each++;
      CurlHttpTransfer& transfer = **current;
      if (!chosen(transfer)) continue;
      curl_multi_remove_handle(multi_, transfer.handle());
      attempt(transfer, [&] { return transfer.fail(error()); });
      ended.splice(ended.end(), active_, current);
    }
  }
  complete(std::move(ended));
}

void CurlHttpLoop::endOverdue() {
  const auto now = Clock::now();
  end([] { return curlError(CURLE_OPERATION_TIMEDOUT); },
      [now](const CurlHttpTransfer& transfer) { return transfer.deadline() <= now; });
}

void CurlHttpLoop::endAll() {
  end([] { return transportError(httpError::kClosed, "The transport was closed."); },
      [](const CurlHttpTransfer&) { return true; });
}

// Returns false if nothing arrived within the idle time.
bool CurlHttpLoop::poll() {
  const auto began = Clock::now();
  auto until = began + idleTime_;
  if (!active_.empty()) {
    const auto deadline = [](const auto& each) { return each->deadline(); };
    until = deadline(*std::ranges::min_element(active_, {}, deadline));
  }
  const CURLMcode result = curl_multi_poll(multi_, nullptr, 0, pollTime(until - began), nullptr);
  if (result != CURLM_OK) std::this_thread::sleep_for(kFailedPollPause);
  return !active_.empty() || (result == CURLM_OK && Clock::now() < until);
}

}  // namespace zqm
