// The base addresses, and the fallback for an address that is not in the table.
#include "zqm/endpoints/ZQMEndPoint.h"

#include "zqm/core/settings/ZQMEnvironmentUtil.h"

namespace zqm {
namespace {

using Settings = ZQMEnvironmentUtil;

// Base and path are joined without a separator: the base ends with its own.
std::string fromSettings(Text (*base)(), const char* path) {
  return base().textForm().append(path);
}

}  // namespace

constinit const ZQMEndPoint::Base ZQMEndPoint::kAd = Settings::adEnvironmentUri;
constinit const ZQMEndPoint::Base ZQMEndPoint::kApp = Settings::appEnvironmentUri;
constinit const ZQMEndPoint::Base ZQMEndPoint::kConfig = Settings::configEnvironmentUri;
constinit const ZQMEndPoint::Base ZQMEndPoint::kData = Settings::dataEnvironmentUri;
constinit const ZQMEndPoint::Base ZQMEndPoint::kDevice = Settings::deviceEnvironmentUri;
constinit const ZQMEndPoint::Base ZQMEndPoint::kGeo = Settings::geoEnvironmentUri;
constinit const ZQMEndPoint::Base ZQMEndPoint::kNotification = Settings::notificationEnvironmentUri;
constinit const ZQMEndPoint::Base ZQMEndPoint::kReport = Settings::reportEnvironmentUri;
constinit const ZQMEndPoint::Base ZQMEndPoint::kInbox = Settings::reportInboxEnvironmentUri;
constinit const ZQMEndPoint::Base ZQMEndPoint::kGraylog = Settings::graylogEnvironmentUri;

std::string ZQMEndPoint::coreInit() { return fromSettings(Settings::coreEnvironmentUri, "init"); }

std::string ZQMEndPoint::find(Lookup lookup, Base base, const char* path) {
  const auto received = (Rule::sharedInstance().*lookup)();
  return received ? *received : fromSettings(base, path);
}

}  // namespace zqm
