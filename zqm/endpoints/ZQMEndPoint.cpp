// The fallback for an address that is not in the table.
#include "zqm/endpoints/ZQMEndPoint.h"

namespace zqm {
namespace {

// Base and path are joined without a separator: the base ends with its own.
std::string fromSettings(Text (*base)(), const char* path) {
  return base().textForm().append(path);
}

}  // namespace

std::string ZQMEndPoint::coreInit() { return fromSettings(Settings::coreEnvironmentUri, "init"); }

std::string ZQMEndPoint::find(Lookup lookup, Base base, const char* path) {
  const auto received = (Rule::sharedInstance().*lookup)();
  return received ? *received : fromSettings(base, path);
}

}  // namespace zqm
