// The answer that is merged into the configuration.
#include "fuzz/Target.h"
#include "zqm/config/ZQMConfigRule.h"
#include "zqm/model/RecordFile.h"

namespace zqm::fuzz {

void tryOne(const Bytes& input) {
  const Value read = readJson(asText(input)).value;
  if (!read.dictionary()) return;
  const Dictionary& values = *read.dictionary();
  const Fakes fakes;
  Dictionary merged;
  {
    const Launch launch(fakes);
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
  const Launch launch(fakes);
  require(same(ZQMConfigRule().configModel().toDictionary(), merged), "it is kept");
}

}  // namespace zqm::fuzz
