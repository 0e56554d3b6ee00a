// Runs the demonstration step by step; every line printed is something that was read back.
#include "tools/zqm/Demo.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "tools/zqm/Backend.h"
#include "tools/zqm/Console.h"
#include "tools/zqm/FileAccess.h"
#include "tools/zqm/Program.h"
#include "tools/zqm/Sandbox.h"
#include "zqm/base/Version.h"
#include "zqm/core/StartDecision.h"
#include "zqm/crypto/ZQMCryptography.h"
#include "zqm/util/Json.h"

namespace zqm::tools {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kTextWidth = 50;
constexpr std::size_t kIndent = 3;
constexpr std::string_view kShownService = "device/behavior";
constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kMaterial = {{
    {"application-id", "the protected identifier"},
    {"certificate.der", "the public key"},
    {"host/Info.plist", "the host's package"},
    {"host/ZQMCore.bundle/Info.plist", "the library's settings"},
    {"host/ZQMCore.bundle/integrator.p12", "the private key"},
    {"host/ZQMCore.bundle/Devices.plist", "names of devices"},
}};
// The host's own limit, in seconds, and when it is killed.
constexpr const char* kHostLimit = "20";
constexpr std::chrono::seconds kKillLimit{40};

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

bool isForOwnerOnly(const fs::path& file) {
  const auto others = fs::perms::group_all | fs::perms::others_all;
  return (fs::status(file).permissions() & others) == fs::perms::none;
}

Dictionary dictionaryOf(std::string_view json) {
  const Value value = readJson(json).value;
  return value.dictionary() == nullptr ? Dictionary() : *value.dictionary();
}

class Demo {
 public:
  Demo(fs::path hostProgram, fs::path directory)
      : hostProgram_(std::move(hostProgram)),
        directory_(std::move(directory)),
        key_(makeIntegratorKey()),
        backend_(key_.certificate),
        sandbox_(Sandbox::create(directory_ / "sandbox", key_, {.backendUrl = backend_.url()})) {}

  bool run() {
    showMaterial();
    firstLaunch();
    if (const auto starts = backend_.requests("start"); !starts.empty()) {
      showStartRequest(starts.front());
      showAnswer(starts.front());
    }
    showStoredRecords();
    secondLaunch();
    return summary();
  }

 private:
  void showMaterial();
  void firstLaunch();
  void showStartRequest(const BackendRequest& start);
  void showAnswer(const BackendRequest& start);
  void showStoredRecords();
  void secondLaunch();
  bool summary();

  ProgramRun launch();
  fs::path pathOf(const std::string& recordClass) const;
  Dictionary stored(const std::string& recordClass);
  std::optional<std::string> decrypted(const Text& protectedText) const;
  void checkEqual(std::string_view what, const Value& expected, const Value& seen);

  const fs::path hostProgram_;
  const fs::path directory_;
  const IntegratorKey key_;
  Backend backend_;
  const Sandbox sandbox_;
  const SandboxOptions defaults_;
  Dictionary sentTable_;
  Dictionary user_;
  Console console_;
};

void Demo::checkEqual(std::string_view what, const Value& expected, const Value& seen) {
  console_.check(expected == seen, what, shortened(expected.textForm(), kTextWidth),
                 shortened(seen.textForm(), kTextWidth));
}

std::optional<std::string> Demo::decrypted(const Text& protectedText) const {
  const auto password = sandbox_.environments()["FILE_PASSWORD_CERTS_P12"].string();
  ZQMCryptography cryptography;
  cryptography.loadPrivateKeyFromData(readFile(sandbox_.pkcs12File()), password.value_or(""));
  return cryptography.rsaDecryptString(protectedText.string().value_or(""));
}

void Demo::showMaterial() {
  console_.line(
      wrapped("A host application that links the library is launched twice, against a backend on "
              "this machine. What is shown was read back; each \"ok\" was observed.",
              0));
  console_.heading("1. What an integrator prepares");
  console_.field("in", directory_.string() + "/sandbox");
  bool isPrivate = true;
  for (const auto& [name, role] : kMaterial) {
    const fs::path file = directory_ / "sandbox" / name;
    std::string line(name);
    line.resize(36, ' ');
    std::string size = std::to_string(fs::file_size(file));
    line.append(6 - std::min<std::size_t>(6, size.size()), ' ').append(size);
    console_.line(indented(line.append(" bytes  ").append(role), kIndent + 2));
    isPrivate = isPrivate && isForOwnerOnly(file);
  }
  console_.field("start at", sandbox_.environments()["START_ENVIRONMENT_URI"].textForm());
  console_.field("identifier", "\"" + defaults_.applicationId + "\", protected it reads");
  console_.field("", shortened(sandbox_.applicationId(), kTextWidth));
  console_.check(isPrivate, "no right for anybody but the files' owner", "none", "some");
  checkEqual("the key file opens with the settings' password and decrypts it",
             defaults_.applicationId, decrypted(sandbox_.applicationId()));
}

ProgramRun Demo::launch() {
  const fs::path program = sandbox_.hostPackage() / hostProgram_.filename();
  const fs::path home = directory_ / "home";
  console_.line(indented("$ example-host application-id", kIndent));
  ProgramRun run = runProgram(
      program, {sandbox_.applicationIdFile().string(), kHostLimit},
      {{"HOME", home.string()}, {"XDG_DATA_HOME", (home / "data").string()}}, kKillLimit);
  while (run.output.ends_with('\n')) run.output.pop_back();
  console_.line(indented(run.output, kIndent));
  checkEqual("it ended with code 0, after " + std::to_string(run.took.count()) + " ms", "code 0",
             run.end);
  return run;
}

void Demo::firstLaunch() {
  console_.heading("2. The host application is launched for the first time");
  makeEmptyDirectory(directory_ / "home");
  fs::copy_file(hostProgram_, sandbox_.hostPackage() / hostProgram_.filename());
  const ProgramRun run = launch();
  checkEqual("it was not started before", "false", run.value("isStarted-before"));
  checkEqual("its kit module was started", "true", run.value("kit-started"));
  checkEqual("it is started now", "true", run.value("isStarted-after"));
  checkEqual("the backend received one start request", 1, backend_.requests("start").size());
}

void Demo::showStartRequest(const BackendRequest& start) {
  console_.heading("3. The start request, as the backend received it");
  console_.line(indented(start.request.method + " " + start.request.target, kIndent));
  for (const auto& [name, value] : start.request.headers) {
    console_.line(indented(name + ": " + shortened(value, kTextWidth), kIndent));
  }
  console_.line();
  console_.line(indented(prettyBody(start.request.body, kTextWidth), kIndent));
  const Dictionary fields = dictionaryOf(start.request.body);
  checkEqual("the application identifier was decrypted", defaults_.applicationId, fields["appId"]);
  checkEqual("the application version is that of the host's package",
             sandbox_.hostInfo()["CFBundleShortVersionString"], fields["appVersion"]);
  checkEqual("it carries no installation identifier yet", {}, start.request.header("euid"));
}

void Demo::showAnswer(const BackendRequest& start) {
  console_.heading("4. The backend's answer");
  const Dictionary fields = dictionaryOf(start.reply.body);
  console_.field("status", std::to_string(start.reply.status));
  console_.field("euid", fields["euid"].textForm());
  if (fields["endpoints"].dictionary() != nullptr) sentTable_ = *fields["endpoints"].dictionary();
  console_.field("endpoints", "each address protected with the integrator's key:");
  std::string shown;
  for (const auto& [group, entries] : sentTable_) {
    if (entries.dictionary() == nullptr) continue;
    for (const auto& [key, value] : *entries.dictionary()) {
      std::string name = group + "/" + key;
      name.resize(28, ' ');
      console_.line(indented(name + value.textForm().substr(0, 40) + "...", kIndent + 2));
      if (group + "/" + key == kShownService) shown = value.textForm();
    }
  }
  const Text address = decrypted(shown);
  checkEqual(std::string(kShownService) + " decrypts to " + address.textForm(),
             backend_.tableAddress(kShownService), address);
}

fs::path Demo::pathOf(const std::string& recordClass) const {
  const std::string group = sandbox_.hostInfo()["NSGroupIdentifier"].textForm();
  return fs::path("home") / "data" / group / (recordClass + ".plist");
}

Dictionary Demo::stored(const std::string& recordClass) {
  const fs::path path = pathOf(recordClass);
  const fs::path file = directory_ / path;
  const bool exists = fs::exists(file);
  console_.check(exists, path.string(), "a file", "none");
  if (!exists) return {};
  console_.check(isForOwnerOnly(file), "no right for anybody but its owner", "none", "some");
  return readDictionary(file);
}

void Demo::showStoredRecords() {
  console_.heading("5. What the library stored");
  user_ = stored("ZQMUserModel");
  console_.line(indented(prettyJson(user_, kTextWidth), kIndent));
  checkEqual("it holds the backend's installation identifier", backend_.euid(), user_["euid"]);
  checkEqual("and the acceptance", "true", user_["started"]);
  checkEqual("and the version of the library", versionString, user_["startedSdkVersion"]);
  const Dictionary table = stored("ZQMEndpointsModel");
  console_.check(!table.empty() && table == sentTable_, "it is the table as it was received",
                 shortened(prettyJson(sentTable_, 10), 200), prettyJson(table, 10));
}

void Demo::secondLaunch() {
  console_.heading("6. The host application is launched again");
  const std::size_t before = backend_.requests("start").size();
  const ProgramRun run = launch();
  checkEqual("it was started from the outset", "true", run.value("isStarted-before"));
  checkEqual("its kit module was started", "true", run.value("kit-started"));
  checkEqual("it is still started", "true", run.value("isStarted-after"));
  checkEqual("the backend received no further start request", before,
             backend_.requests("start").size());
  const fs::path record = directory_ / pathOf("ZQMUserModel");
  console_.check(fs::exists(record) && readDictionary(record) == user_,
                 "the library left its record as it was", "the record above", "another or none");
  const StartDecision decision =
      startDecision({.user = ZQMUserModel::initWithDictionary(user_),
                     .deviceAdvertisingId = run.value("advertisingId"),
                     .appId = sandbox_.applicationId(),
                     .plainAppId = decrypted(sandbox_.applicationId()),
                     .sdkVersion = versionString,
                     .appVersion = sandbox_.hostInfo()["CFBundleShortVersionString"],
                     .now = std::chrono::floor<Date::duration>(std::chrono::system_clock::now())});
  console_.check(decision.outcome == StartDecision::Outcome::notDue, "none was due, because",
                 "not due", "due");
  console_.line(wrapped(describe(decision.reason), kIndent + 5));
}

bool Demo::summary() {
  const int failures = console_.failures();
  console_.line();
  if (failures == 0) {
    console_.line("All " + std::to_string(console_.checks()) + " checks held.");
  } else {
    console_.line(std::to_string(failures) + " of " + std::to_string(console_.checks()) +
                  " checks failed.");
  }
  return failures == 0;
}

}  // namespace

bool runDemo(const DemoOptions& options) {
  if (!fs::is_regular_file(options.hostProgram)) {
    throw std::runtime_error("there is no program " + options.hostProgram.string());
  }
  const TemporaryDirectory directory(options.keep);
  const bool held = Demo(fs::absolute(options.hostProgram), directory.path()).run();
  if (options.keep) Console().line("Kept: " + directory.path().string());
  return held;
}

}  // namespace zqm::tools
