// The sandbox backend in a process of its own, so that this one's figures are the library's.
#pragma once

#include <sys/types.h>

#include <string>

#include "tools/zqm/IntegratorKey.h"

namespace zqm::soak {

// Made while the process has one thread. The other process goes with this one.
class RemoteBackend {
 public:
  explicit RemoteBackend(const tools::IntegratorKey& key);
  ~RemoteBackend();
  RemoteBackend(const RemoteBackend&) = delete;
  RemoteBackend& operator=(const RemoteBackend&) = delete;

  const std::string& url() const { return url_; }
  // Whether it misbehaves now and then.
  void setWild(bool isWild);

 private:
  int commands_ = -1;
  int answers_ = -1;
  pid_t process_ = -1;
  std::string url_;
};

}  // namespace zqm::soak
