// The table of service addresses that the backend sends with an accepted start: one record for each
// service and one that holds them all. The addresses stay protected, as they were received.
#pragma once

#include <string_view>

#include "zqm/model/Record.h"

namespace zqm {

// A table, or a group of it, that the backend left out counts as one without any address.
template <class R>
struct EndpointRecord : Record<R> {
  static constexpr bool kEmptyWhenAbsent = true;
};

struct ZQM_EXPORT ZQMAdEndpointModel : EndpointRecord<ZQMAdEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMAdEndpointModel";

  Text clusters;

  template <class Self, class Visit>
  static void fields(Self& self, Visit visit) {
    visit("clusters", self.clusters);
  }
};

struct ZQM_EXPORT ZQMAppEndpointModel : EndpointRecord<ZQMAppEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMAppEndpointModel";

  Text initialize;
  Text installed;
  Text optIn;

  template <class Self, class Visit>
  static void fields(Self& self, Visit visit) {
    visit("initialize", self.initialize);
    visit("installed", self.installed);
    visit("optIn", self.optIn);
  }
};

struct ZQM_EXPORT ZQMConfigEndpointModel : EndpointRecord<ZQMConfigEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMConfigEndpointModel";

  Text config;

  template <class Self, class Visit>
  static void fields(Self& self, Visit visit) {
    visit("config", self.config);
  }
};

struct ZQM_EXPORT ZQMDataEndpointModel : EndpointRecord<ZQMDataEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMDataEndpointModel";

  Text behavior;

  template <class Self, class Visit>
  static void fields(Self& self, Visit visit) {
    visit("behavior", self.behavior);
  }
};

struct ZQM_EXPORT ZQMDeviceEndpointModel : EndpointRecord<ZQMDeviceEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMDeviceEndpointModel";

  Text initialize;
  Text behavior;

  template <class Self, class Visit>
  static void fields(Self& self, Visit visit) {
    visit("initialize", self.initialize);
    visit("behavior", self.behavior);
  }
};

struct ZQM_EXPORT ZQMGeoEndpointModel : EndpointRecord<ZQMGeoEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMGeoEndpointModel";

  Text initialize;
  Text live;
  Text behavior;
  Text optIn;

  template <class Self, class Visit>
  static void fields(Self& self, Visit visit) {
    visit("initialize", self.initialize);
    visit("live", self.live);
    visit("behavior", self.behavior);
    visit("optIn", self.optIn);
  }
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

  template <class Self, class Visit>
  static void fields(Self& self, Visit visit) {
    visit("token", self.token);
    visit("optIn", self.optIn);
    visit("deliver", self.deliver);
    visit("open", self.open);
    visit("interaction", self.interaction);
    visit("inBoxStatus", self.inBoxStatus);
    visit("inBoxShare", self.inBoxShare);
    visit("inBoxDelete", self.inBoxDelete);
    visit("inAppSingle", self.inAppSingle);
    visit("inAppMultiple", self.inAppMultiple);
    visit("inAppText", self.inAppText);
    visit("coupon", self.coupon);
  }
};

struct ZQM_EXPORT ZQMGraylogEndpointModel : EndpointRecord<ZQMGraylogEndpointModel> {
  static constexpr std::string_view kClassName = "ZQMGraylogEndpointModel";

  Text gelf;

  template <class Self, class Visit>
  static void fields(Self& self, Visit visit) {
    visit("gelf", self.gelf);
  }
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

  template <class Self, class Visit>
  static void fields(Self& self, Visit visit) {
    visit("ad", self.ad);
    visit("app", self.app);
    visit("config", self.config);
    visit("data", self.data);
    visit("device", self.device);
    visit("geo", self.geo);
    visit("notification", self.notification);
    visit("graylog", self.graylog);
  }
};

}  // namespace zqm
