// ZQMConfigRule: holds the configuration, merges the backend's changes and provides all intervals
// and texts.
#pragma once

#include "zqm/base/Mutex.h"
#include "zqm/base/Snapshot.h"
#include "zqm/config/ZQMConfigModel.h"
#include "zqm/model/ZQMDatabase.h"

namespace zqm {

// Thread-safe. The record is kept in memory and written through; readers never see a partial merge.
// Getters return the backend's value unchanged, even a 0 or, in a text, a number; null is absent.
class ZQM_EXPORT ZQMConfigRule {
 public:
  static ZQMConfigRule& sharedInstance();

  // Reads the stored record; without one the defaults apply, which are not saved.
  ZQMConfigRule();

  // Returns whether a fetch is due.
  bool isUpdateConfig() const;

  // Fetches, merges and saves. Returns at once; failures are reported under "zqm-config", level 4.
  void startModule();

  // Merges the keys that the record knows, updates the time stamp and saves. A number is kept if
  // the new value has no integer reading. If the stored record could not be read, reads it again
  // first; while that fails, it is not overwritten.
  void updateAndPersist(const Dictionary& values);
  // Failures are ignored.
  void persistInstance();

  ZQMConfigModel configModel() const { return *current_.get(); }
  // Sets the record in memory. The next save overwrites the stored one, read or not.
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
  // Loads the stored record, if there is one.
  void load() ZQM_REQUIRES(changes_);
  Saved persist() const ZQM_REQUIRES(changes_);

  // Held during a change and its save, so that both happen in the same order. Readers do not wait
  // for it.
  Mutex changes_;
  // Whether a stored record may exist that has not been read.
  bool isUnread_ ZQM_GUARDED_BY(changes_) = false;
  // Never null.
  Snapshot<ZQMConfigModel> current_;
};

}  // namespace zqm
