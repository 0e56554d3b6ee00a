// ZQMUserRule: reads, changes and resets the stored user record.
#pragma once

#include "zqm/base/Value.h"

namespace zqm {

// Reads the record from the store at each call. A change of one that cannot be read at the moment
// is reported and not made.
class ZQM_EXPORT ZQMUserRule {
 public:
  static ZQMUserRule& sharedInstance();

  bool hasUser() const;
  bool isStarted() const;
  // Absent without a record.
  Text getAppId() const;
  Text getEuid() const;

  // A new identifier makes the next start register anew; the same one changes nothing.
  void setAppId(const Text& appId);

  // Forgets acceptance, attempt and `euid`; identifiers and versions stay.
  void resetUser();
};

}  // namespace zqm
