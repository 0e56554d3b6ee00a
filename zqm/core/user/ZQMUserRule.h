// ZQMUserRule: reads, changes and resets the stored user record.
#pragma once

#include "zqm/base/Value.h"

namespace zqm {

// Each call reads the record from the store. If it cannot be read at the moment, a change is
// reported and not made.
class ZQM_EXPORT ZQMUserRule {
 public:
  static ZQMUserRule& sharedInstance();

  bool hasUser() const;
  bool isStarted() const;
  // Absent without a record.
  Text getAppId() const;
  Text getEuid() const;

  // A new identifier makes the next start register again; an equal one changes nothing.
  void setAppId(const Text& appId);

  // Clears acceptance, attempt and `euid`; identifiers and versions are kept.
  void resetUser();
};

}  // namespace zqm
