// An answer of the backend: read, merged into the configuration, and taken for the answer to a
// start with its table of addresses, each protected for this installation's key.
#include "fuzz/Target.h"
#include "tests/support/TestData.h"
#include "zqm/config/ZQMConfigRule.h"
#include "zqm/core/ZQMStartResponse.h"
#include "zqm/endpoints/ZQMEndPoint.h"
#include "zqm/endpoints/ZQMEndpointsRule.h"
#include "zqm/model/RecordFile.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/util/Strings.h"

namespace zqm::fuzz {
namespace {

// Merged twice, and kept.
void tryConfiguration(const Dictionary& values) {
  const Fakes fakes;
  Dictionary merged;
  {
    const Launch launch(fakes.platform());
    ZQMConfigRule& rule = ZQMConfigRule::sharedInstance();
    const Dictionary before = rule.configModel().toDictionary();
    rule.updateAndPersist(values);
    merged = rule.configModel().toDictionary();
    require(rule.configModel().lastUpdateDate == testing::kNow, "the stamp is the library's own");
    for (const auto& [key, value] : before) {
      const Value& now = merged[key];
      require(values.contains(key) || now == value, "a key that was not sent keeps its value");
      require(!value.integer() || now.integer(), "a number stays a number");
      require(
          !value.text() || key == "lastUpdateDate" || !values.contains(key) || now == values[key],
          "a text field is what was sent");
    }
    rule.updateAndPersist(values);
    require(rule.configModel().toDictionary() == merged, "the same again changes nothing");
    static_cast<void>(rule.isUpdateConfig());
  }
  if (!writeRecordFile(merged)) return;
  const Launch launch(fakes.platform());
  require(same(ZQMConfigRule().configModel().toDictionary(), merged), "it is kept");
}

// The table of addresses is stored, looked up and decrypted.
void tryStart(const Value& answer) {
  static const auto& key = *new Bytes(testing::readTestData("small.p12"));
  const auto response = ZQMStartResponse::initWithDictionary(answer);
  const Value table = response->endpoints.toDictionary();
  require(ZQMEndpointsModel::initWithDictionary(table)->toDictionary() == table,
          "a table reads back from its dictionary");
  const Fakes fakes;
  fakes.files->put("/app/ZQMCore.bundle/integrator.p12", key);
  const Launch launch(fakes.platform());
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

}  // namespace

void tryOne(const Bytes& input) {
  const JsonReading read = readJson(asText(input));
  require(read.value.isAbsent() == read.error.has_value(), "there is a value or an error");
  if (read.error) {
    return require(isNotEmpty(read.error->userInfo[kLocalizedFailureReasonKey]),
                   "an error has a reason");
  }
  require(!mustBeRefused, "it is refused");
  const JsonWriting written = writeJson(read.value);
  require(!written.error, "what was read can be written");
  require(readJson(written.text).value == read.value, "what is written reads back");
  if (!read.value.dictionary()) return;
  tryConfiguration(*read.value.dictionary());
  tryStart(read.value);
}

}  // namespace zqm::fuzz
