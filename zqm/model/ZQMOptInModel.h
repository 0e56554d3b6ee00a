// ZQMOptInModel: one consent decision, in the form that all kit modules share.
#pragma once

#include <utility>

#include "zqm/model/Record.h"

namespace zqm {

// The library itself neither creates nor stores one.
class ZQM_EXPORT ZQMOptInModel : public Record<ZQMOptInModel> {
 public:
  static constexpr std::string_view kClassName = "ZQMOptInModel";

  // The kind of consent, whether it was granted, at which level, and when.
  Text type;
  bool permission = false;
  Text level;
  std::optional<Date> date;
  // The library's version at that time, set only by callers.
  Text sdkVersion;

  // The misspelled name is kept because kit modules call it.
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
