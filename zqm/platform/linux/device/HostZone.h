// The identifier of the process's time zone, which may change while the process runs.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "zqm/base/Mutex.h"

namespace zqm {

class HostZone {
 public:
  // Reads TZ or /etc/localtime. Without a change, a call costs at most one lstat of that file.
  std::string identifier();

 private:
  // Cache key: the value of TZ or, without it, the identity of /etc/localtime.
  struct Source {
    std::optional<std::string> variable;
    struct stat file {};

    bool operator==(const Source& other) const;
  };
  static Source currentSource();

  Mutex mutex_;
  std::optional<Source> source_ ZQM_GUARDED_BY(mutex_);
  std::string identifier_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
