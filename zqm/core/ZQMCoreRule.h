// ZQMCoreRule: asks the backend for permission to start and, once it is given, starts the rest.
#pragma once

#include <functional>

#include "zqm/base/HandlerList.h"
#include "zqm/base/Value.h"
#include "zqm/core/StartDecision.h"

namespace zqm {

// Exceptions of a start check or handler are reported under "zqm-core", level 4. `restartCore` may
// throw; `ZQMCore::restart` catches it.
class ZQM_EXPORT ZQMCoreRule {
 public:
  static ZQMCoreRule& sharedInstance();

  // Runs the start check and, if accepted, the start handlers; then empties their list. If a
  // handler throws or the check fails, the list keeps all its handlers, and later starts with a
  // handler only join it.
  void startCore(const Text& appId);

  // The start check. Calls `isStarted` with the outcome, at once on this thread or, after the
  // backend's response, on a thread of the transport; not at all if the check fails.
  void coreIsStarted(const Text& appId, std::function<void(bool)> isStarted);

  // Resets the user record, then runs a start check on the executor. It has no application
  // identifier and so sends nothing: the host's next start registers the installation again.
  void restartCore();

  // The callbacks that wait for the end of the current start.
  HandlerList<>& startHandlers() { return startHandlers_; }
  void setStartHandlers(HandlerList<>::Handlers handlers) {
    startHandlers_.setHandlers(std::move(handlers));
  }

 private:
  HandlerList<> startHandlers_;
};

// Reads the facts for a start decision from store, settings and device.
ZQM_EXPORT StartFacts currentStartFacts(const Text& appId);

}  // namespace zqm
