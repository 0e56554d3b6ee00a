// Fetches the configuration.
#include "zqm/config/ZQMConfigRequest.h"

#include "zqm/endpoints/ZQMEndPoint.h"
#include "zqm/http/TextTask.h"

namespace zqm {

void ZQMConfigRequest::getConfigWithCompletionHandler(const Completion& completionHandler) {
  sendForText(ZQMEndPoint::config(), "GET", std::nullopt, completionHandler);
}

}  // namespace zqm
