// Starts programs with posix_spawn, which is safe while threads run.
#include "tools/zqm/Program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace zqm::tools {
namespace {

using Clock = std::chrono::steady_clock;

// For what a killed program had printed; others may hold its output open.
constexpr std::chrono::seconds kLastOutput{1};

struct Pipe {
  Pipe() {
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
      throw std::system_error(errno, std::generic_category());
  }
  ~Pipe() {
    for (const int end : ends) {
      if (end >= 0) ::close(end);
    }
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  void closeWriteEnd() { ::close(std::exchange(ends[1], -1)); }

  std::array<int, 2> ends{-1, -1};
};

std::vector<std::string> variables(
    const std::vector<std::pair<std::string, std::string>>& replacements) {
  std::vector<std::string> made;
  made.reserve(replacements.size());
  for (const auto& [name, value] : replacements) made.push_back(name + "=" + value);
  for (char** each = environ; *each != nullptr; ++each) {
    const std::string_view variable = *each;
    const std::string_view name = variable.substr(0, variable.find('='));
    const bool replaced = std::ranges::any_of(
        replacements, [&](const auto& replacement) { return replacement.first == name; });
    if (!replaced) made.emplace_back(variable);
  }
  return made;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> made;
  made.reserve(texts.size() + 1);
  for (std::string& each : texts) made.push_back(each.data());
  made.push_back(nullptr);
  return made;
}

pid_t spawn(const std::filesystem::path& program, std::vector<std::string> arguments,
            std::vector<std::string> environment, int output) {
  arguments.insert(arguments.begin(), program.string());
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  pid_t child = -1;
  const int error = ::posix_spawn(&child, program.c_str(), &actions, nullptr,
                                  pointers(arguments).data(), pointers(environment).data());
  ::posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::system_error(error, std::generic_category(), program.string());
  return child;
}

// False when the time was up before the end of the output.
bool readUntil(Clock::time_point deadline, int input, std::string& output) {
  std::array<char, 4096> buffer;
  while (true) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return false;
    pollfd waiting{input, POLLIN, 0};
    if (::poll(&waiting, 1, static_cast<int>(left.count())) <= 0) continue;
    const ssize_t count = ::read(input, buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return true;
    output.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

std::string endOf(int status, bool inTime) {
  if (!inTime) return "killed, for it had not ended in time";
  return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                             : "code " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

std::string ProgramRun::value(std::string_view name) const {
  const std::string lines = "\n" + output;
  const std::string wanted = std::string("\n").append(name).append("=");
  const std::size_t found = lines.find(wanted);
  if (found == std::string::npos) return "nothing";
  const std::size_t begin = found + wanted.size();
  return lines.substr(begin, lines.find('\n', begin) - begin);
}

ProgramRun runProgram(const std::filesystem::path& program,
                      const std::vector<std::string>& arguments,
                      const std::vector<std::pair<std::string, std::string>>& environment,
                      std::chrono::milliseconds limit) {
  const auto begin = Clock::now();
  Pipe pipe;
  const pid_t child = spawn(program, arguments, variables(environment), pipe.ends[1]);
  pipe.closeWriteEnd();
  ProgramRun run;
  const bool inTime = readUntil(begin + limit, pipe.ends[0], run.output);
  if (!inTime) ::kill(child, SIGKILL);
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
  if (!inTime) readUntil(Clock::now() + kLastOutput, pipe.ends[0], run.output);
  run.end = endOf(status, inTime);
  run.took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
  return run;
}

}  // namespace zqm::tools
