// Plays the demonstration; every line printed is something that was read back.
#include "tools/zqm/Demo.h"

#include <stdlib.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

#include "tools/zqm/DemoScenes.h"

namespace zqm::tools {
namespace {

namespace fs = std::filesystem;

class TemporaryDirectory {
 public:
  explicit TemporaryDirectory(bool keep)
      : path_((fs::temp_directory_path() / "zqm-demo-XXXXXX").string()), keep_(keep) {
    if (::mkdtemp(path_.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), path_);
    }
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    if (!keep_) fs::remove_all(path_, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  fs::path path() const { return path_; }

 private:
  std::string path_;
  const bool keep_;
};

void play(DemoStage& stage, bool real) {
  stage.console().line(
      wrapped("A host application that links the library is launched several times, against a "
              "backend on this machine. What is shown was read back; each \"ok\" was observed.",
              0));
  showMaterial(stage);
  const Launch first = showFirstLaunch(stage);
  showRegistration(stage, first);
  showConfiguration(stage, first);
  showDevice(stage, first);
  showQueue(stage);
  showChangedFact(stage, first);
  if (real) {
    stage.console().line();
    return stage.console().line(
        "Hours have to pass for the rest; without --real they are pretended.");
  }
  showHoldBackEnd(stage);
  showWifiAgain(stage);
  showReset(stage);
}

bool summary(Console& console) {
  const int failures = console.failures();
  console.line();
  if (failures == 0) {
    console.line("All " + std::to_string(console.checks()) + " checks held.");
  } else {
    console.line(std::to_string(failures) + " of " + std::to_string(console.checks()) +
                 " checks failed.");
  }
  return failures == 0;
}

}  // namespace

bool runDemo(const DemoOptions& options) {
  if (!fs::is_regular_file(options.hostProgram)) {
    throw std::runtime_error("there is no program " + options.hostProgram.string());
  }
  // Before any thread: dates are shown as the host writes them.
  ::setenv("TZ", kHomeZone, 1);  // NOLINT(concurrency-mt-unsafe)
  const TemporaryDirectory directory(options.keep);
  DemoStage stage(fs::absolute(options.hostProgram), directory.path(), !options.real);
  play(stage, options.real);
  const bool held = summary(stage.console());
  if (options.keep) stage.console().line("Kept: " + directory.path().string());
  return held;
}

}  // namespace zqm::tools
