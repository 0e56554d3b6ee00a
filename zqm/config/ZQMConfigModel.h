// ZQMConfigModel: the intervals, limits and texts that the backend may change, with their defaults.
#pragma once

#include "zqm/model/Record.h"

namespace zqm {

// A new record has the defaults; a record that was read has none.
class ZQM_EXPORT ZQMConfigModel : public Record<ZQMConfigModel> {
 public:
  static constexpr std::string_view kClassName = "ZQMConfigModel";

  // The time of the last fetch, successful or not.
  std::optional<Date> lastUpdateDate;
  std::int32_t daysToUpdateConfig = 1;
  std::int32_t daysToUpdateAdClusters = 2;
  // The `hoursToCallStart` intervals are 32 hours, not a day.
  std::int32_t hoursToCallStartDevicebehavior = 32;
  std::int32_t daysToSendDatabehavior = 1;
  std::int32_t hoursToCallStartAppbehavior = 32;
  std::int32_t daysToSendAppbehavior = 7;
  Text titlePermissionAppBehavior = "Permissão de acesso ao uso";
  Text messagePermissionAppBehavior =
      "Este aplicativo analisa dados do seu aparelho para oferecer publicidade mais relevante ao "
      "seus interesses e perfil. Dados pessoais não são acessados.";
  Text positivePermissionAppBehavior = "Permitir";
  Text negativePermissionAppBehavior = "Negar";
  std::int32_t metersToSendGeobehavior = 100;
  std::int32_t minutesToStartVisitForGeobehavior = 10;
  std::int32_t topWifiListGeobehavior = 5;
  std::int32_t minutesToCallServiceGeobehavior = 1;
  std::int32_t hoursToCallStartGeobehavior = 32;
  std::int32_t minutesToSendLocationGeobehavior = 10;
  std::int32_t minutesToSendActivityGeobehavior = 10;
  std::int32_t hoursToPostponeInAppNotification = 6;
  std::int32_t attemptsToSendQueueItem = 1;
  std::int32_t hoursBeforeSendQueueNonWifi = 6;
  std::int32_t minutesBeforeRetryQueue = 60;

  static constexpr auto kFields = std::tuple{
      member("lastUpdateDate", &Self::lastUpdateDate),
      member("daysToUpdateConfig", &Self::daysToUpdateConfig),
      member("daysToUpdateAdClusters", &Self::daysToUpdateAdClusters),
      member("hoursToCallStartDevicebehavior", &Self::hoursToCallStartDevicebehavior),
      member("daysToSendDatabehavior", &Self::daysToSendDatabehavior),
      member("hoursToCallStartAppbehavior", &Self::hoursToCallStartAppbehavior),
      member("daysToSendAppbehavior", &Self::daysToSendAppbehavior),
      member("titlePermissionAppBehavior", &Self::titlePermissionAppBehavior),
      member("messagePermissionAppBehavior", &Self::messagePermissionAppBehavior),
      member("positivePermissionAppBehavior", &Self::positivePermissionAppBehavior),
      member("negativePermissionAppBehavior", &Self::negativePermissionAppBehavior),
      member("metersToSendGeobehavior", &Self::metersToSendGeobehavior),
      member("minutesToStartVisitForGeobehavior", &Self::minutesToStartVisitForGeobehavior),
      member("topWifiListGeobehavior", &Self::topWifiListGeobehavior),
      member("minutesToCallServiceGeobehavior", &Self::minutesToCallServiceGeobehavior),
      member("hoursToCallStartGeobehavior", &Self::hoursToCallStartGeobehavior),
      member("minutesToSendLocationGeobehavior", &Self::minutesToSendLocationGeobehavior),
      member("minutesToSendActivityGeobehavior", &Self::minutesToSendActivityGeobehavior),
      member("hoursToPostponeInAppNotification", &Self::hoursToPostponeInAppNotification),
      member("attemptsToSendQueueItem", &Self::attemptsToSendQueueItem),
      member("hoursBeforeSendQueueNonWifi", &Self::hoursBeforeSendQueueNonWifi),
      member("minutesBeforeRetryQueue", &Self::minutesBeforeRetryQueue),
  };
};

}  // namespace zqm
