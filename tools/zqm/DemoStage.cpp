// Launches the host, and reads back what came of it.
#include "tools/zqm/DemoStage.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "tools/zqm/FileAccess.h"
#include "zqm/crypto/ZQMCryptography.h"
#include "zqm/platform/Process.h"
#include "zqm/platform/linux/LinuxPlatform.h"
#include "zqm/util/Json.h"

namespace zqm::tools {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kIndent = 3;
// The host's own limit, in seconds, and when it is killed.
constexpr const char* kHostLimit = "20";
constexpr std::chrono::seconds kKillLimit{40};

SandboxOptions optionsFor(const Backend& backend) {
  SandboxOptions options;
  options.backendUrl = backend.url();
  return options;
}

}  // namespace

Dictionary dictionaryOf(std::string_view json) {
  return readJson(json).value.takeDictionary().value_or(Dictionary());
}

bool isForOwnerOnly(const fs::path& file) {
  const auto others = fs::perms::group_all | fs::perms::others_all;
  return (fs::status(file).permissions() & others) == fs::perms::none;
}

std::vector<BackendRequest> Launch::to(std::string_view service) const {
  std::vector<BackendRequest> found = received;
  std::erase_if(found, [&](const BackendRequest& each) { return each.service != service; });
  return found;
}

DemoStage::DemoStage(fs::path hostProgram, fs::path directory, bool pretends)
    : hostProgram_(std::move(hostProgram)),
      directory_(std::move(directory)),
      pretends_(pretends),
      key_(makeIntegratorKey()),
      backend_(key_.certificate),
      options_(optionsFor(backend_)),
      sandbox_(Sandbox::create(directory_ / "sandbox", key_, options_)) {
  makeEmptyDirectory(directory_ / "home");
}

void DemoStage::installHost() {
  fs::copy_file(hostProgram_, sandbox_.hostPackage() / hostProgram_.filename());
}

Launch DemoStage::launch(const Circumstances& circumstances) {
  const fs::path home = directory_ / "home";
  std::vector<std::string> arguments = {sandbox_.applicationIdFile().string(), kHostLimit};
  std::string shown = "$ TZ=" + circumstances.timeZone + " example-host";
  const auto pass = [&](const std::string& name, const std::string& value) {
    arguments.insert(arguments.end(), {name, value});
    shown.append(" ").append(name).append(" ").append(value);
  };
  if (pretends_ && circumstances.hoursLater > 0) {
    pass("--hours-later", std::to_string(circumstances.hoursLater));
  }
  if (pretends_) pass("--network", circumstances.network);
  console_.line(indented(shown, kIndent));
  const std::size_t before = backend_.requests().size();
  Launch launch{runProgram(sandbox_.hostPackage() / hostProgram_.filename(), arguments,
                           {{"HOME", home.string()},
                            {"XDG_DATA_HOME", (home / "data").string()},
                            {"TZ", circumstances.timeZone}},
                           kKillLimit),
                {}};
  while (launch.run.output.ends_with('\n')) launch.run.output.pop_back();
  console_.line(indented(launch.run.output, kIndent));
  checkEqual("it ended with code 0, after " + std::to_string(launch.run.took.count()) + " ms",
             "code 0", launch.run.end);
  const auto all = backend_.requests();
  launch.received.assign(all.begin() + static_cast<std::ptrdiff_t>(before), all.end());
  console_.line(indented("meanwhile the backend received", kIndent));
  for (const BackendRequest& each : launch.received) {
    std::string line = each.request.method + " " + each.request.target;
    line.resize(std::max<std::size_t>(line.size() + 1, 32), ' ');
    console_.line(indented(line + std::to_string(each.reply.status), kIndent + 2));
  }
  if (launch.received.empty()) console_.line(indented("nothing", kIndent + 2));
  return launch;
}

Date DemoStage::now(const Circumstances& circumstances) const {
  const auto real = std::chrono::floor<Date::duration>(std::chrono::system_clock::now());
  return pretends_ ? real + std::chrono::hours(circumstances.hoursLater) : real;
}

void DemoStage::inTheHostsPlace(const std::function<void()>& body) const {
  LinuxOptions options;
  options.mainPackage = sandbox_.hostPackage().string();
  options.userDataDirectory = (directory_ / "home" / "data").string();
  Process process(makeLinuxPlatform(options));
  const Process::Scope scope(process);
  body();
}

void DemoStage::checkFile(const std::string& recordClass) {
  const std::string group = sandbox_.hostInfo()["NSGroupIdentifier"].textForm();
  const fs::path path = fs::path("home") / "data" / group / (recordClass + ".plist");
  const bool exists = fs::exists(directory_ / path);
  check(exists && isForOwnerOnly(directory_ / path), path.string() + ", only for its owner");
}

std::optional<std::string> DemoStage::decrypted(const Text& protectedText) const {
  const auto password = sandbox_.environments()["FILE_PASSWORD_CERTS_P12"].string();
  ZQMCryptography cryptography;
  cryptography.loadPrivateKeyFromData(readFile(sandbox_.pkcs12File()), password.value_or(""));
  return cryptography.rsaDecryptString(protectedText.string().value_or(""));
}

void DemoStage::check(bool held, std::string_view what) {
  console_.check(held, what, "so", "not so");
}

void DemoStage::checkEqual(std::string_view what, const Value& expected, const Value& seen) {
  console_.check(expected == seen, what, shortened(expected.textForm(), kShownWidth),
                 shortened(seen.textForm(), kShownWidth));
}

void DemoStage::checkDecision(std::string_view what, bool expected, bool seen,
                              std::string_view reason) {
  console_.check(expected == seen, std::string(what) + ":", expected ? "yes" : "no",
                 seen ? "yes" : "no");
  console_.line(wrapped(reason, kIndent + 5));
}

void DemoStage::show(const Value& value) {
  console_.line(indented(prettyJson(value, kShownWidth), kIndent));
}

void DemoStage::show(const BackendRequest& request) {
  console_.line(indented(request.request.method + " " + request.request.target, kIndent));
  for (const auto& [name, value] : request.request.headers) {
    console_.line(indented(name + ": " + shortened(value, kShownWidth), kIndent));
  }
  if (request.request.body.empty()) return;
  console_.line();
  console_.line(indented(prettyBody(request.request.body, kShownWidth), kIndent));
}

}  // namespace zqm::tools
