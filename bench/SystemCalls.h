// Counts what a piece of work asks of the kernel: it runs in a child process under ptrace.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace zqm::bench {

// What the child tells its tracer; nothing is counted before the first call and after `settled`.
enum class Mark : std::uint64_t { call = 1, end, settled };
void mark(Mark mark);

struct SystemCalls {
  // Of the thread that makes the calls, for each call.
  std::vector<std::size_t> perCall;
  // The same, of all calls together.
  std::map<std::string, std::size_t> byName;
  // Of all other threads, and written by all threads, until `settled`.
  std::size_t elsewhere = 0;
  std::uint64_t bytesWritten = 0;
};

// Only for a process without threads. Throws where the child fails or cannot be traced.
SystemCalls countSystemCalls(const std::function<void()>& child);

}  // namespace zqm::bench
