// What a kit module is given: configuration, addresses, cryptography, records, locker and queue.
#include "ExampleKit.h"

#include <cstdio>
#include <string>

#include "zqm/config/ZQMConfigRule.h"
#include "zqm/core/user/ZQMUserRule.h"
#include "zqm/crypto/ZQMCryptography.h"
#include "zqm/crypto/ZQMLocker.h"
#include "zqm/endpoints/ZQMEndPoint.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/model/ZQMOptInModel.h"
#include "zqm/platform/Process.h"
#include "zqm/queue/ZQMQueueRule.h"

namespace example {
namespace {

void print(const char* name, const std::string& value) {
  std::printf("kit-%s=%s\n", name, value.c_str());
  std::fflush(stdout);
}

// Stored, and sent ahead of everything else.
void giveConsent(zqm::Date now) {
  zqm::ZQMOptInModel consent = zqm::ZQMOptInModel::initWitType("location", true, "city", now);
  consent.sdkVersion = zqm::versionString;
  zqm::ZQMDatabase::saveObject<zqm::ZQMOptInModel>(consent);
  zqm::ZQMQueueRule::sharedInstance().enqueue(
      zqm::ZQMEndPoint::geoOptIn(), zqm::toData(consent.toDictionary()), "POST", now, true);
}

// The place is for the backend's eyes only.
void recordVisit(const std::string& place, zqm::Date now) {
  const std::string locked = zqm::ZQMLocker::encryptMutableDictionary({{"place", place}});
  zqm::ZQMQueueRule::sharedInstance().enqueue(zqm::ZQMEndPoint::dataBehavior(),
                                              zqm::toData(zqm::Dictionary{{"visit", locked}}),
                                              "POST", now, false);
}

}  // namespace

void ExampleKit::start() {
  const auto& config = zqm::ZQMConfigRule::sharedInstance();
  print("hours-off-wifi", std::to_string(config.getHoursBeforeSendQueueNonWifi()));
  const std::string euid = zqm::ZQMUserRule::sharedInstance().getEuid().string().value_or("");
  print("pseudonym", zqm::ZQMCryptography::SHA256(euid).substr(0, 16));
  if (!zqm::ZQMDatabase::readRecord<zqm::ZQMOptInModel>()) {
    const zqm::Date now = zqm::platform().clock->now();
    recordVisit("station", now);
    recordVisit("harbour", now);
    giveConsent(now);
  }
  const std::lock_guard lock(mutex_);
  started_ = true;
  changed_.notify_all();
}

bool ExampleKit::waitUntilStarted(std::chrono::seconds limit) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, limit, [this] { return started_; });
}

}  // namespace example
