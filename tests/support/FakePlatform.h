// A platform made of fakes, and the fixture that gives each test a Process over it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/FakeFiles.h"
#include "tests/support/FakeJournals.h"
#include "zqm/platform/Process.h"
#include "zqm/platform/WorkerPool.h"
#include "zqm/platform/linux/host/LinuxMainThread.h"
#include "zqm/util/Json.h"

namespace zqm {

// How a failed expectation shows a value.
inline void PrintTo(const Value& value, std::ostream* out) { *out << value.textForm(); }

}  // namespace zqm

namespace zqm::testing {

// 2024-03-05T18:10:00Z.
inline constexpr Date kNow{std::chrono::milliseconds(1709662200000)};

struct FakeClock : Clock {
  std::atomic<Date> instant{kNow};

  Date now() override { return instant; }
  void advance(std::chrono::milliseconds time) { instant = instant.load() + time; }
};

struct FakeDirectories : Directories {
  std::optional<std::string> groupContainer(std::string_view identifier) override {
    if (identifier.empty()) return std::nullopt;
    return std::string("/groups/").append(identifier);
  }
  std::optional<std::string> documents() override { return "/documents"; }
  std::string temporary() override { return "/temporary"; }
};

inline std::shared_ptr<const Dictionary> shared(Dictionary info) {
  return std::make_shared<const Dictionary>(std::move(info));
}

// Changes or, with an absent value, removes an entry of a package's information.
inline void setInfo(Package& package, std::string_view key, Value value) {
  Dictionary info = *package.info;
  info.set(key, std::move(value));
  package.info = shared(std::move(info));
}

struct FakePackages : Packages {
  std::optional<Package> mainPackage() override { return main; }
  std::optional<Package> packageWithIdentifier(std::string_view identifier) override {
    for (const Package& package : loaded) {
      if (package["CFBundleIdentifier"] == Value(identifier)) return package;
    }
    return std::nullopt;
  }
  std::vector<Package> frameworks() override { return loaded; }
  std::optional<std::string> resource(const Package& package, std::string_view name,
                                      std::string_view type) override {
    std::string path = package.directory;
    path.append("/").append(name).append(".").append(type);
    return files->exists(path) ? std::optional(path) : std::nullopt;
  }
  std::string localizedString(std::string_view key) override {
    const auto found = strings.find(std::string(key));
    return found == strings.end() ? std::string(key) : found->second;
  }

  std::shared_ptr<FakeFiles> files;
  std::optional<Package> main;
  std::vector<Package> loaded;
  std::map<std::string, std::string> strings;
};

// Answers each request by `answer`, on a thread of its own, as a real transport does.
struct FakeHttp : Http {
  static HttpExchange answered(std::int32_t status, std::string_view body) {
    return {HttpResponse{status, {}, "", std::nullopt}, toBytes(body), std::nullopt};
  }
  static HttpExchange failed(std::int64_t code = -7) {
    return {std::nullopt, std::nullopt, Error{std::string(kRequestExceptionDomain), code, {}, ""}};
  }

  void send(HttpRequest request, std::function<void(HttpExchange)> completion) override {
    const MutexLock lock(mutex);
    sent.push_back(request);
    pool.submit(
        [completion = std::move(completion), exchange = answer(request)] { completion(exchange); });
  }
  void download(HttpRequest request, std::function<void(HttpDownload)> completion) override {
    const MutexLock lock(mutex);
    sent.push_back(std::move(request));
    pool.submit(
        [completion = std::move(completion), outcome = downloaded] { completion(outcome); });
  }
  std::vector<HttpRequest> requests() {
    const MutexLock lock(mutex);
    return sent;
  }
  // The requests whose url contains `part`.
  std::vector<HttpRequest> requestsTo(std::string_view part) {
    std::vector<HttpRequest> all = requests();
    std::erase_if(all, [&](const auto& one) { return one.url.find(part) == std::string::npos; });
    return all;
  }

  Mutex mutex;
  std::vector<HttpRequest> sent;
  std::function<HttpExchange(const HttpRequest&)> answer = [](const HttpRequest&) {
    return failed();
  };
  HttpDownload downloaded;
  WorkerPool pool{"fake-http", 64};
};

struct FakeNetwork : Network {
  using Watcher = std::function<void(std::uint32_t)>;

  bool accepts(const NetworkTarget& target) override {
    const HostName* host = std::get_if<HostName>(&target);
    return !host || !host->name.empty();
  }
  std::optional<std::uint32_t> flags(const NetworkTarget&) override {
    return readable ? std::optional<std::uint32_t>(word) : std::nullopt;
  }
  std::shared_ptr<void> watch(const NetworkTarget&, Watcher changed) override {
    if (refusesWatch) return nullptr;
    ++watches;
    auto token = std::make_shared<Watcher>(std::move(changed));
    const MutexLock lock(mutex);
    watchers.push_back(token);
    return token;
  }
  // Tells those who keep their tokens.
  void change(std::uint32_t flags) {
    word = flags;
    std::vector<std::weak_ptr<Watcher>> current;
    {
      const MutexLock lock(mutex);
      current = watchers;
    }
    for (const auto& token : current) {
      if (const auto watcher = token.lock()) (*watcher)(flags);
    }
  }
  void setCellular() { word = reachability::kReachable | reachability::kIsWwan; }
  void setOffline() { word = 0; }

  std::atomic<std::uint32_t> word = reachability::kReachable;
  std::atomic<bool> readable = true;
  std::atomic<bool> refusesWatch = false;
  std::atomic<int> watches = 0;
  Mutex mutex;
  std::vector<std::weak_ptr<Watcher>> watchers;
};

struct FakeIdentity : Identity {
  std::string advertisingIdentifier() override { return advertising; }
  std::optional<std::string> vendorIdentifier() override { return vendor; }

  std::string advertising = "6D92078A-8246-4BA4-AE5B-76104861E7DC";
  std::optional<std::string> vendor = "68753A44-4D6F-1226-9C60-0050E4C00067";
};

struct FakePower : Power {
  void enableMonitoring() override { monitored = true; }
  float level() override { return monitored ? charge : -1.0F; }
  std::int64_t state() override { return monitored ? status : 0; }

  float charge = 0.5F;
  std::int64_t status = 1;
  std::atomic<bool> monitored = false;
};

struct FakeMemoryAndStorage : MemoryAndStorage {
  std::uint64_t physicalMemory() override { return physical; }
  std::optional<MemoryPages> memoryPages() override { return pages; }
  std::optional<FileSystemSpace> homeSpace() override { return space; }

  std::uint64_t physical = 2048ULL << 20;
  std::optional<MemoryPages> pages = MemoryPages{1024, 2048, 1024, 512, 4096, 4096};
  std::optional<FileSystemSpace> space = FileSystemSpace{64LL << 30, 16LL << 30};
};

struct FakeSystemInfo : SystemInfo {
  std::string machine() override { return code; }
  std::string systemVersion() override { return "12"; }
  std::string timeZone() override { return zone; }
  std::string locale() override { return language; }
  std::optional<CellularSubscriber> cellularSubscriber() override { return subscriber; }
  std::vector<std::optional<Dictionary>> wifiInterfaces() override { return wifi; }
  std::vector<std::optional<std::string>> audioOutputs() override { return outputs; }
  bool isEnabled(AccessibilityFeature feature) override {
    return std::ranges::count(features, feature) > 0;
  }

  std::string code = "model1,1";
  std::string zone = "America/Sao_Paulo";
  std::string language = "pt_BR";
  std::optional<CellularSubscriber> subscriber;
  std::vector<std::optional<Dictionary>> wifi;
  std::vector<std::optional<std::string>> outputs;
  std::vector<AccessibilityFeature> features;
};

struct FakeHostState : HostState {
  std::int32_t applicationState() override { return state; }
  Value backgroundModes() override { return modes; }
  std::int32_t trackingAuthorization() override { return 0; }

  std::int32_t state = 0;
  Value modes;
};

struct FakeSystemLog : SystemLog {
  void error(std::string_view text) override {
    const MutexLock lock(mutex);
    lines.emplace_back(text);
  }

  Mutex mutex;
  std::vector<std::string> lines;
};

// Every service, with a host that has a container, a version and settings for every address.
struct Fakes {
  std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>();
  std::shared_ptr<FakePackages> packages = std::make_shared<FakePackages>();
  std::shared_ptr<FakeFiles> files = std::make_shared<FakeFiles>();
  std::shared_ptr<FakeFiles> systemFiles = std::make_shared<FakeFiles>();
  std::shared_ptr<FakeJournals> journals = std::make_shared<FakeJournals>();
  std::shared_ptr<FakeDirectories> directories = std::make_shared<FakeDirectories>();
  std::shared_ptr<FakeHttp> http = std::make_shared<FakeHttp>();
  std::shared_ptr<FakeNetwork> network = std::make_shared<FakeNetwork>();
  std::shared_ptr<FakeIdentity> identity = std::make_shared<FakeIdentity>();
  std::shared_ptr<FakePower> power = std::make_shared<FakePower>();
  std::shared_ptr<FakeMemoryAndStorage> memory = std::make_shared<FakeMemoryAndStorage>();
  std::shared_ptr<FakeSystemInfo> systemInfo = std::make_shared<FakeSystemInfo>();
  std::shared_ptr<FakeHostState> hostState = std::make_shared<FakeHostState>();
  std::shared_ptr<MainThread> mainThread = std::make_shared<LinuxMainThread>();
  std::shared_ptr<FakeSystemLog> systemLog = std::make_shared<FakeSystemLog>();

  Fakes() {
    packages->files = files;
    // An ordinary application cannot write outside its directories.
    systemFiles->readOnly = true;
    packages->main = Package{"/app", shared({{"CFBundleIdentifier", "org.example.host"},
                                             {"CFBundleShortVersionString", "3.1"},
                                             {"CFBundleVersion", "310"},
                                             {"NSGroupIdentifier", "group.example"}})};
    Dictionary settings = {{"KELPO_ID", "42"},
                           {"FILE_NAME_CERTS_P12", "integrator"},
                           {"FILE_PASSWORD_CERTS_P12", "secret"}};
    for (const char* service : {"AD", "APP", "CONFIG", "START", "DATA", "DEVICE", "GEO",
                                "NOTIFICATION", "REPORT", "GRAYLOG"}) {
      std::string base = "http://backend.test/";
      for (const char* c = service; *c; ++c) base += static_cast<char>(*c | 0x20);
      settings.set(std::string(service) + "_ENVIRONMENT_URI", base + "/");
    }
    packages->loaded = {
        Package{"/app/ZQMCore.bundle", shared({{"CFBundleIdentifier", kLibraryIdentifier},
                                               {"CFBundleName", "ZQMCore"},
                                               {"CFBundleShortVersionString", "1.2.3"},
                                               {"Environments", settings}})}};
  }

  // Changes or, with an absent value, removes one of the library's settings.
  void setSetting(std::string_view key, Value value) {
    Package& library = packages->loaded.front();
    Dictionary settings = *library["Environments"].dictionary();
    settings.set(key, std::move(value));
    setInfo(library, "Environments", settings);
  }

  Platform platform() const {
    // Not while another thread reads it, unless a test has put others there.
    if (journals->files != files) journals->files = files;
    return {clock,    packages, files,  systemFiles, journals,  directories, http,     network,
            identity, power,    memory, systemInfo,  hostState, mainThread,  systemLog};
  }
};

// A launch of the application; it ends with the scope.
struct Launch {
  explicit Launch(const Platform& platform) : process(platform), scope(process) {}

  Process process;
  const Process::Scope scope;
};

// A Process of its own for each test.
class Fixture : public ::testing::Test {
 protected:
  Fakes fakes;
  std::optional<Launch> launched{std::in_place, fakes.platform()};
  Process* process = &launched->process;

  // The application ends.
  void end() {
    process->drain();
    launched.reset();
  }
  void launch() { process = &launched.emplace(fakes.platform()).process; }
  // It ends and is launched again over the same files.
  void relaunch() {
    end();
    launch();
  }

  // The backend's answer to everything.
  void answer(const HttpExchange& exchange) {
    fakes.http->answer = [=](const HttpRequest&) { return exchange; };
  }

  // What was reported to the remote log, once all work that is under way has ended.
  std::vector<Dictionary> reports() {
    process->drain();
    std::vector<Dictionary> records;
    for (const HttpRequest& request : fakes.http->requestsTo("graylog")) {
      records.push_back(*readJson(asText(request.body.value())).value.dictionary());
    }
    return records;
  }
  std::vector<std::string> messages() {
    std::vector<std::string> texts;
    for (const Dictionary& record : reports()) texts.push_back(record["message"].textForm());
    return texts;
  }

  // The file of a record class in the shared container.
  static std::string storedPath(std::string_view className) {
    return std::string("/groups/group.example/").append(className).append(".plist");
  }
};

}  // namespace zqm::testing
