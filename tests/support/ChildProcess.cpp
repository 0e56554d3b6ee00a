// Starts the test program again with another filter and waits for its end.
#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zqm::testing {

int runInChild(const std::string& test, std::chrono::milliseconds limit) {
  std::string filter = "--gtest_filter=" + test;
  char program[] = "/proc/self/exe";
  char disabled[] = "--gtest_also_run_disabled_tests";
  char* arguments[] = {program, filter.data(), disabled, nullptr};
  posix_spawn_file_actions_t silence;
  posix_spawn_file_actions_init(&silence);
  posix_spawn_file_actions_addopen(&silence, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int refused = posix_spawn(&child, program, &silence, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&silence);
  if (refused) return -refused;

  pollfd ended = {static_cast<int>(syscall(SYS_pidfd_open, child, 0)), POLLIN, 0};
  const bool hung = poll(&ended, 1, static_cast<int>(limit.count())) == 0;
  close(ended.fd);
  if (hung) kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  if (hung) return kHung;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace zqm::testing
