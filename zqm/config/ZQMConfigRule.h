// ZQMConfigRule: holds the configuration, merges what the backend sends and answers every question
// about intervals and texts.
#pragma once

#include "zqm/base/Mutex.h"
#include "zqm/base/Snapshot.h"
#include "zqm/config/ZQMConfigModel.h"
#include "zqm/model/ZQMDatabase.h"

namespace zqm {

// Any thread. The record lives in memory and is written through; a reader never sees a merge half
// done. A getter answers what the backend sent as it stands: a 0, or a text field's number.
class ZQM_EXPORT ZQMConfigRule {
 public:
  static ZQMConfigRule& sharedInstance();

  // Reads the stored record; without one the defaults hold, which are not saved.
  ZQMConfigRule();

  // Whether a fetch is due.
  bool isUpdateConfig() const;

  // Fetches, merges and saves. Returns at once; what fails on the way is reported for "zqm-config"
  // at level 4.
  void startModule();

  // Takes over the keys that the record knows, stamps the record and saves it. A number's key with
  // a value that has no integer reading keeps the old number. A record that could not be read is
  // looked for again first, and while it cannot be, it is not saved over.
  void updateAndPersist(const Dictionary& values);
  // Whether that worked is not told.
  void persistInstance();

  ZQMConfigModel configModel() const { return *current_.get(); }
  // It replaces what is stored, read or not, once it is saved.
  void setConfigModel(ZQMConfigModel model);

  std::int32_t getDaysToUpdateAdClusters() const { return get()->daysToUpdateAdClusters; }
  std::int32_t getHoursToCallStartDevicebehavior() const {
    return get()->hoursToCallStartDevicebehavior;
  }
  std::int32_t getDaysToSendDatabehavior() const { return get()->daysToSendDatabehavior; }
  std::int32_t getHoursToCallStartAppbehavior() const { return get()->hoursToCallStartAppbehavior; }
  std::int32_t getDaysToSendAppbehavior() const { return get()->daysToSendAppbehavior; }
  Text getTitlePermissionAppBehavior() const { return present(get()->titlePermissionAppBehavior); }
  Text getMessagePermissionAppBehavior() const {
    return present(get()->messagePermissionAppBehavior);
  }
  Text getPositivePermissionAppBehavior() const {
    return present(get()->positivePermissionAppBehavior);
  }
  Text getNegativePermissionAppBehavior() const {
    return present(get()->negativePermissionAppBehavior);
  }
  std::int32_t getMetersToSendGeobehavior() const { return get()->metersToSendGeobehavior; }
  std::int32_t getMinutesToStartVisitForGeobehavior() const {
    return get()->minutesToStartVisitForGeobehavior;
  }
  std::int32_t getTopWifiListGeobehavior() const { return get()->topWifiListGeobehavior; }
  std::int32_t getMinutesToCallServiceGeobehavior() const {
    return get()->minutesToCallServiceGeobehavior;
  }
  std::int32_t getHoursToCallStartGeobehavior() const { return get()->hoursToCallStartGeobehavior; }
  std::int32_t getMinutesToSendLocationGeobehavior() const {
    return get()->minutesToSendLocationGeobehavior;
  }
  std::int32_t getMinutesToSendActivityGeobehavior() const {
    return get()->minutesToSendActivityGeobehavior;
  }
  std::int32_t getHoursToPostponeInAppNotification() const {
    return get()->hoursToPostponeInAppNotification;
  }
  std::int32_t getAttemptsToSendQueueItem() const { return get()->attemptsToSendQueueItem; }
  std::int32_t getHoursBeforeSendQueueNonWifi() const { return get()->hoursBeforeSendQueueNonWifi; }
  std::int32_t getMinutesBeforeRetryQueue() const { return get()->minutesBeforeRetryQueue; }

 private:
  std::shared_ptr<const ZQMConfigModel> get() const { return current_.get(); }
  static Text present(const Text& text) { return text.isNull() ? Text() : text; }
  // Takes the stored record over, if there is one.
  void look() ZQM_REQUIRES(changes_);
  Saved persist() const ZQM_REQUIRES(changes_);

  // Held over a change and its save, so that the order of saves is the order of changes. Readers
  // do not wait for it.
  Mutex changes_;
  // Whether there may be a stored record that the current one does not come from.
  bool isUnread_ ZQM_GUARDED_BY(changes_) = false;
  // Never null.
  Snapshot<ZQMConfigModel> current_;
};

}  // namespace zqm
