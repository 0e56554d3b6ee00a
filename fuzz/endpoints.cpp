// The answer to a start with its table of addresses, each protected for this installation's key.
#include "fuzz/Target.h"
#include "tests/support/TestData.h"
#include "zqm/core/ZQMStartResponse.h"
#include "zqm/endpoints/ZQMEndPoint.h"
#include "zqm/endpoints/ZQMEndpointsRule.h"
#include "zqm/model/RecordFile.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/util/Strings.h"

namespace zqm::fuzz {

void tryOne(const Bytes& input) {
  static const auto& key = *new Bytes(testing::readTestData("small.p12"));
  const auto response = ZQMStartResponse::initWithDictionary(readJson(asText(input)).value);
  if (!response) return;
  const Value table = response->endpoints.toDictionary();
  require(ZQMEndpointsModel::initWithDictionary(table)->toDictionary() == table,
          "a table reads back from its dictionary");
  const Fakes fakes;
  fakes.files->put("/app/ZQMCore.bundle/integrator.p12", key);
  const Launch launch(fakes);
  const bool isSaved = ZQMDatabase::saveObject<ZQMEndpointsModel>(response->endpoints);
  require(isSaved == writeRecordFile(table).has_value(), "what can be stored is stored");
  const ZQMEndpointsRule rule;
  require(rule.endpoints().has_value() == isSaved &&
              (!isSaved || same(rule.endpoints()->toDictionary(), table)),
          "the stored table is the received one");
  for (const auto address :
       {ZQMEndPoint::adClusters, ZQMEndPoint::appInit, ZQMEndPoint::config, ZQMEndPoint::geoLive,
        ZQMEndPoint::reportCoupon, ZQMEndPoint::reportInboxDelete, ZQMEndPoint::graylogGelf}) {
    const std::string text = address();
    require(!text.empty() && isValidUtf8(text), "every address is a text");
  }
  require(ZQMEndPoint::coreInit() == "http://backend.test/start/init", "one never changes");
}

}  // namespace zqm::fuzz
