// An installation on real files, with a backend that accepts everything but the queue's odd items.
#pragma once

#include <string>
#include <vector>

#include "tests/faults/Faults.h"
#include "tests/support/Environment.h"
#include "tests/support/Integrator.h"
#include "tests/support/Tree.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/platform/linux/LinuxFiles.h"
#include "zqm/queue/ZQMQueueRule.h"

namespace zqm::testing {

using Names = std::vector<std::string>;

inline Names namesIn(const ZQMQueueModel& queue) {
  Names names;
  if (queue.data) {
    queue.data->forEach([&](const ZQMQueueDataModel& item) { names.push_back(*item.url.text()); });
  }
  return names;
}

// Its copies of dictionaries are most of the memory that a launch asks for, and not the library's.
struct SparedPackages : Packages {
  explicit SparedPackages(std::shared_ptr<Packages> packages) : inner(std::move(packages)) {}
  std::optional<Package> mainPackage() override {
    return spared([&] { return inner->mainPackage(); });
  }
  std::optional<Package> packageWithIdentifier(std::string_view identifier) override {
    return spared([&] { return inner->packageWithIdentifier(identifier); });
  }
  std::vector<Package> frameworks() override {
    return spared([&] { return inner->frameworks(); });
  }
  std::optional<std::string> resource(const Package& package, std::string_view name,
                                      std::string_view type) override {
    return spared([&] { return inner->resource(package, name, type); });
  }
  std::string localizedString(std::string_view key) override {
    return spared([&] { return inner->localizedString(key); });
  }

  std::shared_ptr<Packages> inner;
};

// Files in memory, where that is to be had: a launch asks for hundreds of them.
class FastTree {
 public:
  const Tree& operator*() const { return tree_; }
  const Tree* operator->() const { return &tree_; }

 private:
  const Environment directory_{
      {"TMPDIR", std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp"}};
  const Tree tree_{};
};

struct Installation {
  Installation() {
    installKey(fakes);
    tree->put("app/ZQMCore.bundle/integrator.p12", asText(integrator().pkcs12));
    const std::string devices = "/app/ZQMCore.bundle/Devices.plist";
    tree->put(devices.substr(1), "<plist><dict/></plist>");
    fakes.files->put(devices, {});
    for (const char* directory : {"documents", "groups/group.example"}) {
      std::filesystem::create_directories(tree->path() / directory);
    }
    watchFiles(tree->root());
    const std::string body = R"({"euid":"e","endpoints":{"config":{"config":")" +
                             protectedText("table/config") +
                             R"("}},"hoursToCallStartDevicebehavior":1})";
    fakes.http->answer = [body](const HttpRequest& request) {
      const bool isOdd = request.url.starts_with("q/") && (request.url.back() - '0') % 2 == 1;
      return FakeHttp::answered(isOdd ? 500 : 200, body);
    };
  }

  Platform platform() {
    Platform made = fakes.platform();
    made.files = std::make_shared<LinuxFiles>([this] { return std::optional(tree->root()); });
    made.packages = std::make_shared<SparedPackages>(made.packages);
    return made;
  }

  // What another launch would find in the store.
  template <class R>
  Found<R> stored() {
    Process other(platform());
    const Process::Scope inside(other);
    return ZQMDatabase::findRecord<R>();
  }
  Names storedNames() { return namesIn(stored<ZQMQueueModel>().record.value_or(ZQMQueueModel())); }

  FastTree tree;
  Fakes fakes;
  const std::string appId = protectedText("app-7");
};

inline ZQMQueueRule& queueRule() { return ZQMQueueRule::sharedInstance(); }
inline void enqueue(const std::string& name, std::size_t size = 300, bool priority = false) {
  queueRule().enqueue(name, Bytes(size, 'x'), "POST", kNow, priority);
}
inline void removeFirst() {
  const auto queue = queueRule().getQueue();
  if (queue->count() > 0) queueRule().removeData(queue->data->at(0));
}
inline Names pendingNames() { return namesIn(*queueRule().getQueue()); }

// Whether each item of the process is counted once.
inline bool isBalanced() {
  const QueueCounts counts = queueRule().counts();
  return counts.loaded + counts.accepted == counts.delivered + counts.removed + counts.pending;
}

}  // namespace zqm::testing
