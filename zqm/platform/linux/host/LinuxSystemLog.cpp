// Writes to syslog, with the host's settings for it, and to standard error.
#include "zqm/platform/linux/host/LinuxSystemLog.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "zqm/platform/posix/Descriptor.h"

namespace zqm {
namespace {

constexpr std::size_t kLongestLine = 8192;

}  // namespace

void LinuxSystemLog::error(std::string_view text) {
  std::string line(text.substr(0, kLongestLine));
  // Control characters could forge log lines or control a terminal.
  std::replace_if(
      line.begin(), line.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, ' ');
  syslog(LOG_ERR, "%s", line.c_str());
  if (isatty(STDERR_FILENO) == 0) return;
  line += '\n';
  // A single call keeps lines of several threads whole. Failures are ignored.
  [[maybe_unused]] const auto written =
      retryInterrupted([&] { return write(STDERR_FILENO, line.data(), line.size()); });
}

}  // namespace zqm
