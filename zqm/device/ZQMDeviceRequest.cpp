// Sends the device's registration and its profile.
#include "zqm/device/ZQMDeviceRequest.h"

#include "zqm/endpoints/ZQMEndPoint.h"
#include "zqm/http/TextTask.h"
#include "zqm/http/ZQMHttpRequest.h"
#include "zqm/model/ZQMObjectModel.h"

namespace zqm {

void ZQMDeviceRequest::startWithCompletionHandler(const StartCompletion& completionHandler) {
  const auto answered = [completionHandler](const ZQMHttpResult& result) {
    switch (result.statusCode) {
      case 200:
        return completionHandler(kDeviceRegistered, std::nullopt);
      case 400:
        return completionHandler(kDeviceRejected, std::nullopt);
      case 401:
        return completionHandler(kDeviceUnauthorized, std::nullopt);
      default:
        return completionHandler(kDeviceFailed, ZQMHttpRequest::errorWithRequest(result));
    }
  };
  const auto failed = [completionHandler](const Error& error) {
    completionHandler(kDeviceFailed, error);
  };
  ZQMHttpRequest::dataTaskWithUrl(ZQMEndPoint::deviceInit(), "POST", std::nullopt, answered,
                                  failed);
}

void ZQMDeviceRequest::sendBehaviorInDictionary(const Dictionary& profile,
                                                const BehaviorCompletion& completionHandler) {
  sendForText(ZQMEndPoint::deviceBehavior(), "POST", toData(profile), completionHandler);
}

}  // namespace zqm
