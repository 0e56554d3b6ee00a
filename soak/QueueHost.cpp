// The platform of a host, and its calls.
#include "soak/QueueHost.h"

#include <filesystem>

#include "zqm/platform/linux/files/LinuxJournals.h"
#include "zqm/queue/ZQMQueueRule.h"

namespace zqm::soak {
namespace {

constexpr std::string_view kQueueUrl = "http://queue.test/";

struct RealDirectories : testing::FakeDirectories {
  explicit RealDirectories(std::string path) : root(std::move(path)) {}

  std::optional<std::string> groupContainer(std::string_view) override { return containerIn(root); }
  std::optional<std::string> documents() override { return root + "/documents"; }

  const std::string root;
};

}  // namespace

QueueHost::QueueHost(const std::string& root) : QueueHost(root, std::make_shared<Steps>()) {}

QueueHost::QueueHost(const std::string& root, std::shared_ptr<Steps> steps) {
  Platform platform = fakes_.platform();
  platform.directories = std::make_shared<RealDirectories>(root);
  for (const std::string& each : {containerIn(root), root + "/documents"}) {
    std::filesystem::create_directories(each);
  }
  platform.journals =
      std::make_shared<SteppedJournals>(std::make_shared<LinuxJournals>(), std::move(steps));
  process_ = std::make_unique<Process>(std::move(platform));
  const Process::Scope scope(*process_);
  ZQMQueueRule::sharedInstance();
}

QueueHost::~QueueHost() = default;

void QueueHost::enqueue(int number, std::size_t size, bool priority) {
  const Process::Scope scope(*process_);
  ZQMQueueRule::sharedInstance().enqueue(std::string(kQueueUrl) + std::to_string(number),
                                         Bytes(size, 'b'), "POST", testing::kNow, priority);
}

void QueueHost::remove(int number) {
  const Process::Scope scope(*process_);
  ZQMQueueRule& rule = ZQMQueueRule::sharedInstance();
  for (std::size_t index = rule.count(); index-- > 0;) {
    const auto item = rule.itemAt(index);
    if (numberOf(*item->url.text()) == number) rule.removeData(item);
  }
}

void QueueHost::recover() {
  const Process::Scope scope(*process_);
  ZQMQueueRule::sharedInstance().adoptQueues();
}

std::vector<int> QueueHost::numbers() {
  const Process::Scope scope(*process_);
  std::vector<int> found;
  const auto queue = ZQMQueueRule::sharedInstance().getQueue();
  queue->data.value_or(ZQMQueueItems()).forEach([&](const ZQMQueueDataModel& item) {
    found.push_back(numberOf(*item.url.text()));
  });
  return found;
}

std::vector<std::string> QueueHost::reports() {
  process_->drain();
  std::vector<std::string> texts;
  for (const HttpRequest& request : fakes_.http->requestsTo("graylog")) {
    texts.emplace_back(asText(request.body.value()));
  }
  return texts;
}

std::string containerIn(const std::string& root) { return root + "/container"; }

int numberOf(std::string_view url) {
  return std::stoi(std::string(url.substr(url.find_last_of('/') + 1)));
}

}  // namespace zqm::soak
