// The configuration in memory, its merge and its getters.
#include "zqm/config/ZQMConfigRule.h"

#include "zqm/base/Exception.h"
#include "zqm/config/ConfigDecision.h"
#include "zqm/config/ZQMConfigRequest.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/model/StoreReport.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/platform/Process.h"
#include "zqm/util/Json.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

PerProcess<ZQMConfigRule> shared;

constexpr std::int32_t kLogLevel = 4;

void merge(const Value& value, Text& field) { field = value; }
void merge(const Value& value, std::int32_t& field) {
  field = value.integerReading().value_or(field);
}
// The library sets the time stamp; a value sent by the backend is ignored.
void merge(const Value&, std::optional<Date>&) {}

// Returns the values of a response; empty if it cannot be parsed, which is reported.
Dictionary valuesOf(const std::optional<std::string>& text) {
  Dictionary values;
  if (!isNotEmpty(text)) return values;
  guarded([&] { values = readJsonObject(*text); }, reportAs(kConfigModule, kLogLevel));
  return values;
}

}  // namespace

ZQMConfigRule& ZQMConfigRule::sharedInstance() { return *shared; }

ZQMConfigRule::ZQMConfigRule() {
  current_.set(std::make_shared<const ZQMConfigModel>());
  const MutexLock lock(changes_);
  load();
}

void ZQMConfigRule::load() {
  auto [state, stored] = ZQMDatabase::findRecord<ZQMConfigModel>();
  isUnread_ = state == FileState::unreadable;
  if (stored) current_.set(std::make_shared<const ZQMConfigModel>(*std::move(stored)));
}

bool ZQMConfigRule::isUpdateConfig() const {
  const auto model = current_.get();
  return configDecision({model->lastUpdateDate, model->daysToUpdateConfig, platform().clock->now()})
      .due;
}

void ZQMConfigRule::startModule() {
  ZQMConfigRequest::getConfigWithCompletionHandler(
      [this](const std::optional<std::string>& text, const std::optional<Error>& error) {
        if (error) {
          ZQMLogHandler::logError(error->rewrapped("Could not start Config."), kConfigModule,
                                  kLogLevel);
        }
        // A failed fetch also starts the interval anew, so that a failing backend is not asked more
        // often.
        updateAndPersist(valuesOf(text));
      });
}

void ZQMConfigRule::updateAndPersist(const Dictionary& values) {
  Saved saved;
  bool isUnread = false;
  {
    const MutexLock lock(changes_);
    if (isUnread_) load();
    isUnread = isUnread_;
    ZQMConfigModel model = configModel();
    ZQMConfigModel::fields(model, [&](std::string_view key, auto& field) {
      if (const Value& value = values[key]; value.isPresent()) merge(value, field);
    });
    model.lastUpdateDate = platform().clock->now();
    current_.set(std::make_shared<const ZQMConfigModel>(std::move(model)));
    saved = persist();
  }
  // A failed save is not reported, because the values are in effect in memory.
  reportKept(saved, kConfigModule);
  if (isUnread) {
    reportUnreadable(ZQMConfigModel::kClassName, "what was sent holds for this launch",
                     kConfigModule);
  }
}

void ZQMConfigRule::persistInstance() {
  Saved saved;
  {
    const MutexLock lock(changes_);
    saved = persist();
  }
  reportKept(saved, kConfigModule);
}

Saved ZQMConfigRule::persist() const {
  return isUnread_ ? Saved() : ZQMDatabase::saveRecord<ZQMConfigModel>(*current_.get());
}

void ZQMConfigRule::setConfigModel(ZQMConfigModel model) {
  const MutexLock lock(changes_);
  isUnread_ = false;
  current_.set(std::make_shared<const ZQMConfigModel>(std::move(model)));
}

}  // namespace zqm
