// Where each address comes from: an entry of the table, a base address and a path to fall back to.
#include "zqm/endpoints/ZQMEndPoint.h"

#include <optional>

#include "zqm/core/ZQMEnvironmentUtil.h"
#include "zqm/endpoints/ZQMEndpointsRule.h"

namespace zqm {
namespace {

using Rule = ZQMEndpointsRule;
using Settings = ZQMEnvironmentUtil;

using Lookup = std::optional<std::string> (Rule::*)() const;
using Base = Text (*)();

// No separator goes between base and path: the base brings its own.
std::string fromSettings(Base base, const char* path) { return base().textForm().append(path); }

std::string address(Lookup lookup, Base base, const char* path) {
  const auto received = (Rule::sharedInstance().*lookup)();
  return received ? *received : fromSettings(base, path);
}

}  // namespace

std::string ZQMEndPoint::adClusters() {
  return address(&Rule::adClusters, Settings::adEnvironmentUri, "clusters");
}

std::string ZQMEndPoint::appInit() {
  return address(&Rule::appInit, Settings::appEnvironmentUri, "init");
}

std::string ZQMEndPoint::appInstalled() {
  return address(&Rule::appInstalled, Settings::appEnvironmentUri, "installed");
}

// The paths are lower case where the table's keys are not.
std::string ZQMEndPoint::appOptIn() {
  return address(&Rule::appOptIn, Settings::appEnvironmentUri, "optin");
}

// The base alone.
std::string ZQMEndPoint::config() {
  return address(&Rule::config, Settings::configEnvironmentUri, "");
}

std::string ZQMEndPoint::coreInit() { return fromSettings(Settings::coreEnvironmentUri, "init"); }

std::string ZQMEndPoint::dataBehavior() {
  return address(&Rule::dataBehavior, Settings::dataEnvironmentUri, "behavior");
}

std::string ZQMEndPoint::deviceInit() {
  return address(&Rule::deviceInit, Settings::deviceEnvironmentUri, "init");
}

std::string ZQMEndPoint::deviceBehavior() {
  return address(&Rule::deviceBehavior, Settings::deviceEnvironmentUri, "behavior");
}

std::string ZQMEndPoint::geoInit() {
  return address(&Rule::geoInit, Settings::geoEnvironmentUri, "init");
}

std::string ZQMEndPoint::geoLive() {
  return address(&Rule::geoLive, Settings::geoEnvironmentUri, "live");
}

std::string ZQMEndPoint::geoBehavior() {
  return address(&Rule::geoBehavior, Settings::geoEnvironmentUri, "behavior");
}

std::string ZQMEndPoint::geoOptIn() {
  return address(&Rule::geoOptIn, Settings::geoEnvironmentUri, "optin");
}

std::string ZQMEndPoint::notificationToken() {
  return address(&Rule::notificationToken, Settings::notificationEnvironmentUri, "token");
}

std::string ZQMEndPoint::notificationOptIn() {
  return address(&Rule::notificationOptIn, Settings::notificationEnvironmentUri, "optin");
}

std::string ZQMEndPoint::reportOpen() {
  return address(&Rule::reportOpen, Settings::reportEnvironmentUri, "open");
}

std::string ZQMEndPoint::reportDeliver() {
  return address(&Rule::reportDeliver, Settings::reportEnvironmentUri, "deliver");
}

std::string ZQMEndPoint::reportInteraction() {
  return address(&Rule::reportInteraction, Settings::reportEnvironmentUri, "interaction");
}

// Shares the interaction report's path on purpose.
std::string ZQMEndPoint::reportCoupon() {
  return address(&Rule::reportCoupon, Settings::reportEnvironmentUri, "interaction");
}

std::string ZQMEndPoint::reportInboxStatus() {
  return address(&Rule::reportInBoxStatus, Settings::reportInboxEnvironmentUri, "status");
}

std::string ZQMEndPoint::reportInboxShare() {
  return address(&Rule::reportInBoxShare, Settings::reportInboxEnvironmentUri, "share");
}

std::string ZQMEndPoint::reportInboxDelete() {
  return address(&Rule::reportInBoxDelete, Settings::reportInboxEnvironmentUri, "delete");
}

std::string ZQMEndPoint::graylogGelf() {
  return address(&Rule::graylogGelf, Settings::graylogEnvironmentUri, "gelf");
}

}  // namespace zqm
