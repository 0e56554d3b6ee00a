// ZQMCoreRule: asks the backend for permission to start and, once it is given, starts the rest.
#pragma once

#include <functional>

#include "zqm/base/HandlerList.h"
#include "zqm/base/Value.h"
#include "zqm/core/StartDecision.h"

namespace zqm {

// Nothing here throws: what fails is reported for "zqm-core" at level 4.
class ZQM_EXPORT ZQMCoreRule {
 public:
  static ZQMCoreRule& sharedInstance();

  // Runs the start check; on acceptance runs the start handlers, and empties their list whatever
  // the outcome. A handler that throws leaves the list as it is, so that this process starts no
  // more.
  void startCore(const Text& appId);

  // The start check. Calls `isStarted` with the outcome: at once on this thread, or on a thread
  // of the transport after the backend's answer; not at all when the check fails.
  void coreIsStarted(const Text& appId, std::function<void(bool)> isStarted);

  // Resets the user record. The start check that follows, on the executor, has no application
  // identifier and so sends nothing: the installation registers anew at the host's next start.
  void restartCore();

  // The callbacks that wait for the end of the current attempt.
  HandlerList<>& startHandlers() { return startHandlers_; }
  void setStartHandlers(HandlerList<>::Handlers handlers) {
    startHandlers_.setHandlers(std::move(handlers));
  }

 private:
  HandlerList<> startHandlers_;
};

// What the decision about a start rests on, read from store, settings and device now.
ZQM_EXPORT StartFacts currentStartFacts(const Text& appId);

}  // namespace zqm
