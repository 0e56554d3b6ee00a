// The system log, and the terminal if there is one.
#pragma once

#include "zqm/platform/Platform.h"

namespace zqm {

class LinuxSystemLog : public SystemLog {
 public:
  void error(std::string_view text) override;
};

}  // namespace zqm
