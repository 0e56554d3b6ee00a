// Starts of a real host program, one process for each launch, against a real local backend.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "tools/zqm/Backend.h"
#include "tools/zqm/Sandbox.h"
#include "zqm/core/ZQMUserModel.h"
#include "zqm/endpoints/ZQMEndpointModels.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/platform/Process.h"
#include "zqm/platform/linux/LinuxPlatform.h"
#include "zqm/util/Json.h"

namespace zqm {
namespace {

namespace fs = std::filesystem;
using tools::StartAnswer;

fs::path temporaryDirectory() {
  std::string name = (fs::temp_directory_path() / "zqm-start-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error(name);
  return name;
}

class StartOverHttpTest : public ::testing::Test {
 protected:
  StartOverHttpTest() { fs::copy_file(ZQM_EXAMPLE_HOST, sandbox.hostPackage() / "host"); }
  ~StartOverHttpTest() override { fs::remove_all(root); }

  // Launches the host, waits for its end and answers its "name=value" lines and exit code.
  std::map<std::string, std::string> launch(int seconds = 20) const {
    const std::string command = "HOME='" + root.string() + "' XDG_DATA_HOME='" + data().string() +
                                "' '" + (sandbox.hostPackage() / "host").string() + "' '" +
                                sandbox.applicationIdFile().string() + "' " +
                                std::to_string(seconds);
    std::map<std::string, std::string> lines;
    FILE* output = ::popen(command.c_str(), "r");
    std::array<char, 512> buffer{};
    while (std::fgets(buffer.data(), buffer.size(), output) != nullptr) {
      const std::string line(buffer.data());
      const auto equals = line.find('=');
      if (equals != std::string::npos) {
        lines[line.substr(0, equals)] = line.substr(equals + 1, line.size() - equals - 2);
      }
    }
    const int status = ::pclose(output);
    lines["exit"] = WIFEXITED(status) ? std::to_string(WEXITSTATUS(status)) : "signal";
    return lines;
  }

  fs::path data() const { return root / "data"; }

  // What the host's store holds, read as another launch would.
  template <class R>
  std::optional<R> stored() const {
    Process process(makeLinuxPlatform(
        {.mainPackage = sandbox.hostPackage().string(), .userDataDirectory = data().string()}));
    const Process::Scope scope(process);
    return ZQMDatabase::readRecord<R>();
  }

  const fs::path root = temporaryDirectory();
  const tools::IntegratorKey key = tools::makeIntegratorKey();
  tools::Backend backend{key.certificate};
  const tools::Sandbox sandbox =
      tools::Sandbox::create(root / "sandbox", key, {.backendUrl = backend.url()});
};

TEST_F(StartOverHttpTest, AcceptedInstallationIsRegisteredOnceForAllItsLaunches) {
  auto lines = launch();
  EXPECT_EQ(lines["exit"], "0");
  EXPECT_EQ(lines["isStarted-before"], "false");
  EXPECT_EQ(lines["kit-started"], "true");
  EXPECT_EQ(lines["isStarted-after"], "true");
  const auto requests = backend.requests("start");
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].request.method, "POST");
  EXPECT_EQ(requests[0].request.header("content-type"), "application/json");
  EXPECT_FALSE(requests[0].request.header("euid").has_value());
  const Value body = readJson(requests[0].request.body).value;
  EXPECT_EQ((*body.dictionary())["appId"], Value("sandbox-application"));
  EXPECT_EQ((*body.dictionary())["advertisingId"], Value(lines["advertisingId"]));
  EXPECT_EQ(stored<ZQMUserModel>().value().euid, Text(backend.euid()));
  EXPECT_TRUE(stored<ZQMEndpointsModel>().value().device.behavior.text());

  lines = launch();
  EXPECT_EQ(lines["isStarted-before"], "true");
  EXPECT_EQ(lines["kit-started"], "true");
  EXPECT_EQ(backend.requests("start").size(), 1U);
}

TEST_F(StartOverHttpTest, RefusedInstallationStaysQuietForADay) {
  backend.answerStartWith(StartAnswer::forbidden);
  for (int i = 0; i < 2; ++i) {
    const auto lines = launch(2);
    EXPECT_EQ(lines.at("kit-started"), "false");
    EXPECT_EQ(lines.at("isStarted-after"), "false");
  }
  EXPECT_EQ(backend.requests("start").size(), 1U);
  EXPECT_TRUE(backend.requests("graylog/gelf").empty());
  EXPECT_TRUE(stored<ZQMUserModel>().value().startedDate.has_value());
}

TEST_F(StartOverHttpTest, FailedStartIsRecordedAsAnAttempt) {
  backend.answerStartWith(StartAnswer::failed);
  EXPECT_EQ(launch(2)["kit-started"], "false");
  EXPECT_EQ(backend.requests("start").size(), 1U);
  EXPECT_FALSE(stored<ZQMUserModel>().value().started);
}

TEST_F(StartOverHttpTest, UnreachableBackendEndsTheAttemptAndNotTheHost) {
  const std::string settings = (sandbox.corePackage() / "Info.plist").string();
  std::ifstream in(settings);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::string url = backend.url();
  for (auto at = text.find(url); at != std::string::npos; at = text.find(url)) {
    text.replace(at, url.size(), "http://127.0.0.1:1/");
  }
  std::ofstream(settings) << text;
  const auto lines = launch(2);
  EXPECT_EQ(lines.at("exit"), "0");
  EXPECT_EQ(lines.at("isStarted-after"), "false");
  EXPECT_TRUE(stored<ZQMUserModel>().value().startedDate.has_value());
}

}  // namespace
}  // namespace zqm
