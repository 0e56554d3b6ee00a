// The tracer. A system call that nothing else here makes carries the marks.
#include "bench/SystemCalls.h"

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

namespace zqm::bench {
namespace {

constexpr auto kCarrier = SYS_getppid;

std::string nameOf(std::uint64_t number) {
  static const std::map<std::uint64_t, std::string> names{
      {SYS_openat, "openat"},       {SYS_close, "close"},
      {SYS_read, "read"},           {SYS_write, "write"},
      {SYS_pwrite64, "pwrite64"},   {SYS_writev, "writev"},
      {SYS_pwritev, "pwritev"},     {SYS_lseek, "lseek"},
      {SYS_fdatasync, "fdatasync"}, {SYS_fsync, "fsync"},
      {SYS_rename, "rename"},       {SYS_unlink, "unlink"},
      {SYS_mkdir, "mkdir"},         {SYS_newfstatat, "newfstatat"},
      {SYS_fstat, "fstat"},         {SYS_statx, "statx"},
      {SYS_flock, "flock"},         {SYS_getrandom, "getrandom"},
      {SYS_futex, "futex"},         {SYS_brk, "brk"},
      {SYS_mmap, "mmap"},           {SYS_munmap, "munmap"},
      {SYS_madvise, "madvise"},     {SYS_ftruncate, "ftruncate"},
      {SYS_clone3, "clone3"},       {SYS_rt_sigprocmask, "rt_sigprocmask"},
      {SYS_mprotect, "mprotect"},   {SYS_mremap, "mremap"},
      {SYS_readlink, "readlink"},   {SYS_clock_gettime, "clock_gettime"}};
  const auto found = names.find(number);
  return found == names.end() ? "number " + std::to_string(number) : found->second;
}

// Of all its threads, those that have ended included.
std::uint64_t bytesWrittenBy(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/io");
  std::string word;
  std::uint64_t value = 0;
  while (file >> word >> value) {
    if (word == "wchar:") return value;
  }
  throw std::runtime_error("no account of written bytes");
}

class Tracer {
 public:
  explicit Tracer(pid_t child) : child_(child) {}

  // At a system call's entry or exit in one of the child's threads.
  void stopped(pid_t thread) {
    __ptrace_syscall_info info{};
    ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info);
    if (info.op != PTRACE_SYSCALL_INFO_ENTRY) return;
    if (info.entry.nr == kCarrier) return marked(Mark(info.entry.args[0]));
    if (thread != child_) {
      if (last_ == Mark::call || last_ == Mark::end) ++calls_.elsewhere;
    } else if (last_ == Mark::call) {
      ++calls_.perCall.back();
      ++calls_.byName[nameOf(info.entry.nr)];
    }
  }

  const SystemCalls& calls() const {
    if (last_ != Mark::settled) throw std::runtime_error("the traced process failed");
    return calls_;
  }

 private:
  void marked(Mark mark) {
    if (calls_.perCall.empty()) before_ = bytesWrittenBy(child_);
    if (mark == Mark::call) calls_.perCall.push_back(0);
    if (mark == Mark::settled) calls_.bytesWritten = bytesWrittenBy(child_) - before_;
    last_ = mark;
  }

  const pid_t child_;
  SystemCalls calls_;
  Mark last_{};
  std::uint64_t before_ = 0;
};

[[noreturn]] void runTraced(const std::function<void()>& work) {
  ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  raise(SIGSTOP);
  try {
    work();
  } catch (...) {
    _exit(1);
  }
  _exit(0);
}

// What a stopped thread is to get: its own signals, but none that tracing itself makes.
int signalToPass(int status) {
  const int signal = WSTOPSIG(status);
  return status >> 16 != 0 || signal == SIGSTOP || signal == SIGTRAP ? 0 : signal;
}

}  // namespace

void mark(Mark mark) { syscall(kCarrier, mark); }

SystemCalls countSystemCalls(const std::function<void()>& child) {
  const pid_t process = fork();
  if (process == 0) runTraced(child);
  Tracer tracer(process);
  int status = 0;
  if (process < 0 || waitpid(process, &status, 0) != process || !WIFSTOPPED(status) ||
      ptrace(PTRACE_SETOPTIONS, process, nullptr,
             PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL) != 0) {
    throw std::runtime_error("no process to trace");
  }
  ptrace(PTRACE_SYSCALL, process, nullptr, nullptr);
  for (;;) {
    const pid_t thread = waitpid(-1, &status, __WALL);
    if (thread < 0 || (thread == process && !WIFSTOPPED(status))) return tracer.calls();
    if (!WIFSTOPPED(status)) continue;
    const bool atCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
    if (atCall) tracer.stopped(thread);
    ptrace(PTRACE_SYSCALL, thread, nullptr, atCall ? 0 : signalToPass(status));
  }
}

}  // namespace zqm::bench
