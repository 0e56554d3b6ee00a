// The limits of a process under a test's control.
#pragma once

#include <signal.h>
#include <sys/resource.h>

namespace zqm::testing {

// What the work answers under such a limit: of RLIMIT_FSIZE, as on a disk that is full, or of
// RLIMIT_NOFILE, as where no descriptor is free.
template <class Work>
auto limited(decltype(RLIMIT_FSIZE) resource, rlim_t value, const Work& work) {
  rlimit before{};
  getrlimit(resource, &before);
  const rlimit limit{value, before.rlim_max};
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  setrlimit(resource, &limit);
  auto result = work();
  setrlimit(resource, &before);
  signal(SIGXFSZ, handler);
  return result;
}

}  // namespace zqm::testing
