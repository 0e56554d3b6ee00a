// What the Info.plist of the host and of the library's package holds, the settings among it: a
// dictionary, written as CBOR. The files themselves are trusted.
#include "fuzz/Target.h"
#include "zqm/core/ZQMUtils.h"
#include "zqm/core/settings/ZQMEnvironmentUtil.h"
#include "zqm/endpoints/ZQMEndPoint.h"
#include "zqm/util/Cbor.h"
#include "zqm/util/Strings.h"

namespace zqm::fuzz {

void tryOne(const Bytes& input) {
  const auto root = readCbor(asText(input));
  if (!root || !root->dictionary()) return;
  const Fakes fakes;
  fakes.packages->main->info = testing::shared(*root->dictionary());
  fakes.packages->loaded.front().info = fakes.packages->main->info;
  testing::setInfo(fakes.packages->loaded.front(), "CFBundleIdentifier", kLibraryIdentifier);
  const Launch launch(fakes.platform());
  const Value id = ZQMEnvironmentUtil::kelpoId();
  require(id.isAbsent() || id.integer() || id.real(), "the identifier is a number or none");
  require(ZQMEnvironmentUtil::environment() || (id == Value(1) && !ZQMEnvironmentUtil::isDebug()),
          "without settings the defaults hold");
  const std::string address = ZQMEndPoint::config();
  require(address == ZQMEnvironmentUtil::configEnvironmentUri().textForm(), "an address is a text");
  require(ZQMEndPoint::coreInit().ends_with("init"), "an address ends in its path");
  require(!ZQMUtils::getURLGroupContainer() || ZQMUtils::isNotificationContent(),
          "there is no container without a name for it");
  static_cast<void>(ZQMEnvironmentUtil::fileNameCertsP12());
  static_cast<void>(ZQMEnvironmentUtil::filePasswordCertsP12());
  static_cast<void>(ZQMUtils::getVersionName());
  static_cast<void>(ZQMUtils::decryptoString("c2VjcmV0"));
}

}  // namespace zqm::fuzz
