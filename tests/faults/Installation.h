// An installation on real files, with a backend that accepts everything but the queue's odd items.
#pragma once

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "tests/faults/Faults.h"
#include "tests/support/Environment.h"
#include "tests/support/Integrator.h"
#include "tests/support/Tree.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/platform/linux/files/LinuxFiles.h"
#include "zqm/platform/linux/files/LinuxJournals.h"
#include "zqm/queue/QueueJournal.h"
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

struct TreeDirectories : Directories {
  explicit TreeDirectories(std::string directory) : root(std::move(directory)) {}
  std::optional<std::string> groupContainer(std::string_view identifier) override {
    return std::string(root).append("/groups/").append(identifier);
  }
  std::optional<std::string> documents() override { return root + "/documents"; }
  std::string temporary() override { return root + "/temporary"; }

  const std::string root;
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
    fakes.packages->main->directory = *tree / "app";
    Package& bundle = fakes.packages->loaded.front();
    bundle.directory = *tree / "app/ZQMCore.bundle";
    put("app/ZQMCore.bundle/integrator.p12", asText(integrator().pkcs12));
    put("app/ZQMCore.bundle/Devices.plist", "<plist><dict/></plist>");
    for (const std::string& directory : {container, documents}) {
      std::filesystem::create_directories(directory);
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
    made.files = std::make_shared<LinuxFiles>();
    made.journals = std::make_shared<LinuxJournals>();
    made.directories = std::make_shared<TreeDirectories>(tree->root());
    return made;
  }

  // What another launch would find in the store.
  template <class R>
  Found<R> stored() {
    const Launch other(platform());
    return ZQMDatabase::findRecord<R>();
  }

  std::vector<std::string> queueFiles() const {
    std::vector<std::string> paths;
    for (const auto& each : std::filesystem::directory_iterator(container)) {
      if (isQueueFileName(each.path().filename().string())) paths.push_back(each.path().string());
    }
    std::ranges::sort(paths);
    return paths;
  }

  // What the queue's files hold, one behind the other, without those of which another one holds
  // the items.
  Names storedNames() const {
    return spared([&] {
      std::vector<JournalContent> contents;
      std::set<std::uint64_t> adopted;
      for (const std::string& path : queueFiles()) {
        contents.push_back(readJournal(contentOf(path)));
        adopted.insert(contents.back().adopted.begin(), contents.back().adopted.end());
      }
      Names names;
      for (const JournalContent& each : contents) {
        if (each.state == JournalContent::State::damaged) names.emplace_back("damaged");
        if (adopted.contains(each.file)) continue;
        for (const JournalItem& item : each.items) names.push_back(*item.item->url.text());
      }
      return names;
    });
  }

  FastTree tree;
  Fakes fakes;
  const std::string container = *tree / "groups/group.example";
  const std::string documents = *tree / "documents";
  const std::string firstFile = firstQueueFile(container);
  const std::string appId = protectedText("app-7");

 private:
  void put(const char* name, std::string_view content) const {
    fakes.files->put(tree->put(name, content), {});
  }
};

// Runs the body for the first, second and each further request that may fail, until it answers that
// there were fewer. Answers how many there were, or stops where a test has failed.
template <class Body>
std::int64_t forEachRequest(const Body& body, std::int64_t step = 1) {
  std::int64_t n = 1;
  for (bool happened = true; happened && !::testing::Test::HasFailure(); n += step) {
    SCOPED_TRACE(n);
    happened = body(n);
  }
  return n;
}

inline ZQMQueueRule& queueRule() { return ZQMQueueRule::sharedInstance(); }
inline void enqueue(const std::string& name, std::size_t size = 300, bool priority = false) {
  queueRule().enqueue(name, Bytes(size, 'x'), "POST", kNow, priority);
}
inline void removeFirst() {
  const auto queue = queueRule().getQueue();
  if (queue->count() > 0) queueRule().removeData(queue->data->at(0));
}
inline void removeLast() {
  const auto queue = queueRule().getQueue();
  if (queue->count() > 0) queueRule().removeData(queue->data->at(queue->count() - 1));
}
inline Names sorted(Names names) {
  std::ranges::sort(names);
  return names;
}
inline Names pendingNames() { return namesIn(*queueRule().getQueue()); }

// Whether each item of the process is counted once.
inline bool isBalanced() {
  const QueueCounts counts = queueRule().counts();
  return counts.loaded + counts.accepted == counts.delivered + counts.removed + counts.pending;
}

}  // namespace zqm::testing
