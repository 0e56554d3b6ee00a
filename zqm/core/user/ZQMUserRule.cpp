// The operations on the stored user record.
#include "zqm/core/user/ZQMUserRule.h"

#include "zqm/core/user/ZQMUserModel.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/model/StoreReport.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/platform/Process.h"

namespace zqm {
namespace {

PerProcess<ZQMUserRule> shared;

std::optional<ZQMUserModel> storedUser() { return ZQMDatabase::readRecord<ZQMUserModel>(); }

}  // namespace

ZQMUserRule& ZQMUserRule::sharedInstance() { return *shared; }

bool ZQMUserRule::hasUser() const { return storedUser().has_value(); }

bool ZQMUserRule::isStarted() const { return storedUser().value_or(ZQMUserModel()).started; }

Text ZQMUserRule::getAppId() const { return storedUser().value_or(ZQMUserModel()).appId; }

Text ZQMUserRule::getEuid() const { return storedUser().value_or(ZQMUserModel()).euid; }

void ZQMUserRule::setAppId(const Text& appId) {
  auto [state, stored] = ZQMDatabase::findRecord<ZQMUserModel>();
  if (state == FileState::unreadable) {
    return reportUnreadable(ZQMUserModel::kClassName, "its identifier stays", kCoreModule);
  }
  ZQMUserModel user = std::move(stored).value_or(ZQMUserModel());
  if (user.appId.isPresent() && user.appId == appId) return;
  user.appId = appId;
  user.started = false;
  user.startedDate.reset();
  reportKept(ZQMDatabase::saveRecord<ZQMUserModel>(user), kCoreModule);
}

void ZQMUserRule::resetUser() {
  auto [state, user] = ZQMDatabase::findRecord<ZQMUserModel>();
  if (state == FileState::unreadable) {
    reportUnreadable(ZQMUserModel::kClassName, "it is not reset", kCoreModule);
  }
  if (!user) return;
  user->started = false;
  user->startedDate.reset();
  user->euid = Text();
  ZQMDatabase::saveObject<ZQMUserModel>(*user);
}

}  // namespace zqm
