// The identifier of the process's time zone, seen to change while it runs.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "zqm/base/Mutex.h"

namespace zqm {

class HostZone {
 public:
  // From TZ or /etc/localtime. A call without a change costs at most one look at that file.
  std::string identifier();

 private:
  // What the answer depends on: the variable, or what the file's name stands for.
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
