// ZQMDeviceRule: registers the device, keeps its profile and sends what changed.
#pragma once

#include <cstdint>

#include "zqm/base/HandlerList.h"
#include "zqm/base/Value.h"

namespace zqm {

// Reads the profile from the store at each call and writes it back. An operation may throw on its
// caller's thread; the executor, the main thread and the transport report that.
class ZQM_EXPORT ZQMDeviceRule {
 public:
  static ZQMDeviceRule& sharedInstance();

  // Asks the backend to register the device, if that is due, and runs the start handlers with the
  // resulting status (see ZQMDeviceRequest.h), at once or after the answer; then empties their
  // list. A handler that throws leaves the list as it is. A profile that cannot be read at the
  // moment is a failure: nothing is asked.
  void startModule();

  bool isDeviceStarted() const;

  // Takes the device's current facts over into the stored profile and marks it where one differs.
  // Does nothing where no profile is stored, or none can be read at the moment.
  void updatedInfo();

  // Sends the stored profile where it is marked; the backend's acceptance takes the mark away.
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
