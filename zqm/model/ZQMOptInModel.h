// ZQMOptInModel: one consent decision, in the shape that all kit modules share.
#pragma once

#include <utility>

#include "zqm/model/Record.h"

namespace zqm {

// The library itself neither makes nor stores one.
class ZQM_EXPORT ZQMOptInModel : public Record<ZQMOptInModel> {
 public:
  static constexpr std::string_view kClassName = "ZQMOptInModel";

  // What was asked for, whether it was granted, at which level, and when.
  Text type;
  bool permission = false;
  Text level;
  std::optional<Date> date;
  // The library's version at that time; only a caller sets it.
  Text sdkVersion;

  // The name is spelled so: kit modules call it.
  static ZQMOptInModel initWitType(Text type, bool permission, Text level,
                                   std::optional<Date> date) {
    ZQMOptInModel model;
    model.type = std::move(type);
    model.permission = permission;
    model.level = std::move(level);
    model.date = date;
    return model;
  }

  static constexpr auto kFields = std::tuple{
      member("type", &Self::type),
      member("permission", &Self::permission),
      member("level", &Self::level),
      member("date", &Self::date),
      member("sdkVersion", &Self::sdkVersion),
  };
};

}  // namespace zqm
