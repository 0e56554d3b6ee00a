// Starts of a real host program, one process for each launch, against a real local backend.
#include <gtest/gtest.h>

#include "tests/support/TemporaryDirectory.h"
#include "tools/zqm/Backend.h"
#include "tools/zqm/Program.h"
#include "tools/zqm/Sandbox.h"

namespace zqm {
namespace {

TEST(StartOverHttpTest, RefusedInstallationStaysQuietForADay) {
  const testing::TemporaryDirectory root;
  const std::string data = root.path() / "data";
  const tools::IntegratorKey key = tools::makeIntegratorKey();
  tools::Backend backend{key.certificate};
  const auto sandbox =
      tools::Sandbox::create(root.path() / "installed", key, {.backendUrl = backend.url()});
  std::filesystem::copy_file(ZQM_EXAMPLE_HOST, sandbox.hostPackage() / "host");
  backend.answerStartWith(tools::StartAnswer::forbidden);
  for (int i = 0; i < 2; ++i) {
    // It waits two seconds for its kit module's start.
    const tools::ProgramRun run = tools::runProgram(
        sandbox.hostPackage() / "host", {sandbox.applicationIdFile().string(), "2"},
        {{"HOME", root.path()}, {"XDG_DATA_HOME", data}}, std::chrono::seconds(60));
    EXPECT_EQ(run.end, "code 0");
    EXPECT_EQ(run.value("kit-started"), "false");
    EXPECT_EQ(run.value("isStarted-after"), "false");
  }
  EXPECT_EQ(backend.requests("start").size(), 1U);
  EXPECT_TRUE(backend.requests("graylog/gelf").empty());
}

}  // namespace
}  // namespace zqm
