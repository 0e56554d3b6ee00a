// Reads the stored table and decrypts its entries.
#include "zqm/endpoints/ZQMEndpointsRule.h"

#include "zqm/core/settings/Resources.h"
#include "zqm/model/ZQMDatabase.h"

namespace zqm {

ZQMEndpointsRule::ZQMEndpointsRule() : endpoints_(ZQMDatabase::readRecord<ZQMEndpointsModel>()) {}

ZQMEndpointsRule ZQMEndpointsRule::sharedInstance() { return {}; }

void ZQMEndpointsRule::setEndpoints(std::optional<ZQMEndpointsModel> endpoints) {
  endpoints_ = std::move(endpoints);
}

ZQMEndpointsRule::Address ZQMEndpointsRule::decrypted(const Text& entry) {
  return zqm::decrypted(entry);
}

}  // namespace zqm
