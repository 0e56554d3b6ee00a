// ZQMDeviceRule: registers the device, keeps its profile and sends changes.
#pragma once

#include <cstdint>

#include "zqm/base/HandlerList.h"
#include "zqm/base/Value.h"

namespace zqm {

// Every call reads the profile from the store and writes it back. Operations may throw. Their
// callers (executor, main thread, transport) catch and report it.
class ZQM_EXPORT ZQMDeviceRule {
 public:
  static ZQMDeviceRule& sharedInstance();

  // Registers the device if that is due. Then, at once or after the response, runs the start
  // handlers with the resulting status (see ZQMDeviceRequest.h) and empties their list; if a
  // handler throws, the list is kept. If the profile cannot be read at the moment, the status is a
  // failure and nothing is sent.
  void startModule();

  bool isDeviceStarted() const;

  // Updates the stored profile from the device and marks it as changed if a fact differs. Does
  // nothing if no profile is stored or it cannot be read at the moment.
  void updatedInfo();

  // Sends the stored profile if it is marked as changed; its acceptance clears the mark.
  void updatedDevice();

  // The callbacks that wait for the end of the current start.
  HandlerList<std::int64_t>& startHandlers() { return startHandlers_; }
  void setStartHandlers(HandlerList<std::int64_t>::Handlers handlers) {
    startHandlers_.setHandlers(std::move(handlers));
  }

 private:
  void finish(std::int64_t status);

  HandlerList<std::int64_t> startHandlers_;
};

}  // namespace zqm
