// The table of service addresses that the backend sends with an accepted start: one record for each
// service and one for all of them. The addresses stay encrypted, as they were received.
#pragma once

#include <string_view>

#include "zqm/model/Record.h"

namespace zqm {

// A missing table, or group of it, is treated as one without addresses.
template <class R>
struct EndpointRecord : Record<R> {
  static constexpr bool kEmptyWhenAbsent = true;
};

struct ZQM_EXPORT ZQMAdEndpointModel : EndpointRecord<ZQMAdEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMAdEndpointModel";

  Text clusters;

  static constexpr auto kFields = std::tuple{member("clusters", &Self::clusters)};
};

struct ZQM_EXPORT ZQMAppEndpointModel : EndpointRecord<ZQMAppEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMAppEndpointModel";

  Text initialize;
  Text installed;
  Text optIn;

  static constexpr auto kFields = std::tuple{
      member("initialize", &Self::initialize),
      member("installed", &Self::installed),
      member("optIn", &Self::optIn),
  };
};

struct ZQM_EXPORT ZQMConfigEndpointModel : EndpointRecord<ZQMConfigEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMConfigEndpointModel";

  Text config;

  static constexpr auto kFields = std::tuple{member("config", &Self::config)};
};

struct ZQM_EXPORT ZQMDataEndpointModel : EndpointRecord<ZQMDataEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMDataEndpointModel";

  Text behavior;

  static constexpr auto kFields = std::tuple{member("behavior", &Self::behavior)};
};

struct ZQM_EXPORT ZQMDeviceEndpointModel : EndpointRecord<ZQMDeviceEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMDeviceEndpointModel";

  Text initialize;
  Text behavior;

  static constexpr auto kFields = std::tuple{
      member("initialize", &Self::initialize),
      member("behavior", &Self::behavior),
  };
};

struct ZQM_EXPORT ZQMGeoEndpointModel : EndpointRecord<ZQMGeoEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMGeoEndpointModel";

  Text initialize;
  Text live;
  Text behavior;
  Text optIn;

  static constexpr auto kFields = std::tuple{
      member("initialize", &Self::initialize),
      member("live", &Self::live),
      member("behavior", &Self::behavior),
      member("optIn", &Self::optIn),
  };
};

struct ZQM_EXPORT ZQMNotificationEndpointModel : EndpointRecord<ZQMNotificationEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMNotificationEndpointModel";

  Text token;
  Text optIn;
  Text deliver;
  Text open;
  Text interaction;
  Text inBoxStatus;
  Text inBoxShare;
  Text inBoxDelete;
  Text inAppSingle;
  Text inAppMultiple;
  Text inAppText;
  Text coupon;

  static constexpr auto kFields = std::tuple{
      member("token", &Self::token),
      member("optIn", &Self::optIn),
      member("deliver", &Self::deliver),
      member("open", &Self::open),
      member("interaction", &Self::interaction),
      member("inBoxStatus", &Self::inBoxStatus),
      member("inBoxShare", &Self::inBoxShare),
      member("inBoxDelete", &Self::inBoxDelete),
      member("inAppSingle", &Self::inAppSingle),
      member("inAppMultiple", &Self::inAppMultiple),
      member("inAppText", &Self::inAppText),
      member("coupon", &Self::coupon),
  };
};

struct ZQM_EXPORT ZQMGraylogEndpointModel : EndpointRecord<ZQMGraylogEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMGraylogEndpointModel";

  Text gelf;

  static constexpr auto kFields = std::tuple{member("gelf", &Self::gelf)};
};

struct ZQM_EXPORT ZQMEndpointsModel : EndpointRecord<ZQMEndpointsModel> {
  static constexpr std::string_view kClassName = "ZQMEndpointsModel";

  ZQMAdEndpointModel ad;
  ZQMAppEndpointModel app;
  ZQMConfigEndpointModel config;
  ZQMDataEndpointModel data;
  ZQMDeviceEndpointModel device;
  ZQMGeoEndpointModel geo;
  ZQMNotificationEndpointModel notification;
  ZQMGraylogEndpointModel graylog;

  static constexpr auto kFields = std::tuple{
      member("ad", &Self::ad),
      member("app", &Self::app),
      member("config", &Self::config),
      member("data", &Self::data),
      member("device", &Self::device),
      member("geo", &Self::geo),
      member("notification", &Self::notification),
      member("graylog", &Self::graylog),
  };
};

}  // namespace zqm
