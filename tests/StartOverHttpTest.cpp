// Starts of a real host program, one process for each launch, against a real local backend.
#include <gtest/gtest.h>

#include "tests/support/TemporaryDirectory.h"
#include "tools/zqm/Backend.h"
#include "tools/zqm/Program.h"
#include "tools/zqm/Sandbox.h"
#include "zqm/core/ZQMUserModel.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/platform/Process.h"
#include "zqm/platform/linux/LinuxPlatform.h"
#include "zqm/util/Json.h"

namespace zqm {
namespace {

using tools::ProgramRun;
using tools::Sandbox;
using tools::StartAnswer;

class StartOverHttpTest : public ::testing::Test {
 protected:
  Sandbox makeSandbox(const std::string& name, const std::string& backendUrl) const {
    Sandbox made = Sandbox::create(root.path() / name, key, {.backendUrl = backendUrl});
    std::filesystem::copy_file(ZQM_EXAMPLE_HOST, made.hostPackage() / "host");
    return made;
  }

  // Launches the host, which waits so many seconds for its kit module's start.
  ProgramRun launch(const Sandbox& sandbox, const std::string& seconds) const {
    return tools::runProgram(
        sandbox.hostPackage() / "host", {sandbox.applicationIdFile().string(), seconds},
        {{"HOME", root.path()}, {"XDG_DATA_HOME", data}}, std::chrono::seconds(60));
  }

  // What the host's store holds, read as another launch would.
  ZQMUserModel storedUser() const {
    Process process(makeLinuxPlatform(
        {.mainPackage = installed.hostPackage().string(), .userDataDirectory = data}));
    const Process::Scope scope(process);
    return ZQMDatabase::readRecord<ZQMUserModel>().value();
  }

  const testing::TemporaryDirectory root;
  const std::string data = root.path() / "data";
  const tools::IntegratorKey key = tools::makeIntegratorKey();
  tools::Backend backend{key.certificate};
  const Sandbox installed = makeSandbox("installed", backend.url());
};

TEST_F(StartOverHttpTest, AcceptedInstallationIsRegisteredOnceForAllItsLaunches) {
  const ProgramRun first = launch(installed, "20");
  EXPECT_EQ(first.value("kit-started"), "true");
  const auto requests = backend.requests("start");
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].request.header("content-type"), "application/json");
  const Value body = readJson(requests[0].request.body).value;
  EXPECT_EQ((*body.dictionary())["advertisingId"], Value(first.value("advertisingId")));
  EXPECT_EQ(storedUser().euid, Text(backend.euid()));

  const ProgramRun second = launch(installed, "20");
  EXPECT_EQ(second.value("isStarted-before"), "true");
  EXPECT_EQ(backend.requests("start").size(), 1U);
}

TEST_F(StartOverHttpTest, RefusedInstallationStaysQuietForADay) {
  backend.answerStartWith(StartAnswer::forbidden);
  for (int i = 0; i < 2; ++i) {
    const ProgramRun run = launch(installed, "2");
    EXPECT_EQ(run.value("kit-started"), "false");
    EXPECT_EQ(run.value("isStarted-after"), "false");
  }
  EXPECT_EQ(backend.requests("start").size(), 1U);
  EXPECT_TRUE(backend.requests("graylog/gelf").empty());
  EXPECT_TRUE(storedUser().startedDate.has_value());
}

}  // namespace
}  // namespace zqm
