// What the host's threads call, and what happens around them.
#include "soak/Launch.h"

#include <filesystem>
#include <thread>

#include "zqm/base/Exception.h"
#include "zqm/config/ZQMConfigRule.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/device/ZQMDeviceBehavior.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/platform/linux/LinuxPlatform.h"

namespace zqm::soak {
namespace {

using namespace std::chrono_literals;

constexpr int kHosts = 8;
constexpr std::size_t kMostPending = 150;
constexpr std::size_t kLogBytes = 32 << 10;
constexpr auto kTick = 20ms;

ZQMQueueRule& queue() { return ZQMQueueRule::sharedInstance(); }

}  // namespace

Launch::Launch(Stage& stage, unsigned seed)
    : stage_(stage), random_(seed), losesContainer_(seed % 2 == 0), process_(platform()) {
  clock_->instant = stage.now;
}

Platform Launch::platform() const {
  Platform made = makeLinuxPlatform(
      {.mainPackage = stage_.sandbox.hostPackage(), .userDataDirectory = stage_.data});
  made.clock = clock_;
  made.network = network_;
  made.files = std::make_shared<FaultyFiles>(made.files, disk_);
  made.journals = std::make_shared<FaultyJournals>(made.journals, disk_);
  made.http = std::make_shared<WatchedHttp>(made.http, stage_.account);
  return made;
}

std::vector<std::string> Launch::run(std::chrono::milliseconds time) {
  const Process::Scope scope(process_);
  stage_.backend.setWild(true);
  disk_->isUnreadable = !losesContainer_ && random_() % 4 == 0;
  queue().getQueue();
  ZQMLogHandler::setFileBound(kLogBytes);
  std::vector<std::jthread> threads;
  for (int made = 0; made < kHosts; ++made) {
    threads.emplace_back(&Launch::host, this, Random(random_()));
  }
  threads.emplace_back(&Launch::weather, this, Random(random_()));
  std::this_thread::sleep_for(time);
  isOver_ = true;
  threads.clear();
  calm();
  return stage_.account.close(*queue().getQueue(), queue().counts());
}

// What could not be read is read now; what a full disk has kept from being saved is saved at the
// end of the process.
void Launch::calm() {
  stage_.backend.setWild(false);
  network_->change(reachability::kReachable);
  disk_->isFull = disk_->isUnreadable = false;
  ZQMCore::setDebugMode(false);
  process_.drain();
  queue().adoptQueues();
  const auto number = stage_.account.enqueue();
  queue().enqueue(stage_.backend.url() + "queue/" + std::to_string(number), Bytes(), "POST",
                  clock_->now(), false);
  ZQMConfigRule::sharedInstance().updateAndPersist({{"hoursBeforeSendQueueNonWifi", 1}});
  process_.drain();
  stage_.now = clock_->now();
}

void Launch::host(Random random) {
  const Process::Scope scope(process_);
  while (!isOver_) {
    call(random);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
  }
}

void Launch::call(Random& random) {
  const auto choice = random() % 100;
  if (choice < 55) return enqueueOrRemove(random);
  if (choice < 65) return queue().startQueue();
  if (choice < 75) {
    const auto start = [this] { ++stage_.accepted; };
    return ZQMCore::start(stage_.sandbox.applicationId(), start);
  }
  if (choice < 80) {
    const int number = static_cast<int>(random() % 5);
    return ZQMConfigRule::sharedInstance().updateAndPersist(
        {{"hoursBeforeSendQueueNonWifi", number}, {"titlePermissionAppBehavior", List{number}}});
  }
  if (choice < 85) return ZQMDeviceBehavior::verifyUpdate();
  if (choice < 90) return ZQMLogHandler::logToFile("soak.txt", std::string(random() % 300, 's'));
  if (choice < 91) {
    return ZQMLogHandler::logException(Exception(kInternalInconsistencyException, "A soak's"),
                                       kCoreModule, 4);
  }
  // Each entry is written through to the disk, which slows everything down.
  if (choice < 92) return ZQMCore::setDebugMode(random() % 12 == 0);
  if (choice == 92 && random() % 50 == 0) return ZQMCore::restart();
  ZQMCore::isStarted();
  ZQMConfigRule::sharedInstance().getTitlePermissionAppBehavior();
  ZQMCore::getIOSAdvertisingId();
}

void Launch::enqueueOrRemove(Random& random) {
  const auto now = queue().getQueue();
  if (now->count() < kMostPending && random() % 4 != 0) {
    const auto number = stage_.account.enqueue();
    const std::string url = stage_.backend.url() + "queue/" + std::to_string(number);
    return queue().enqueue(url, Bytes(random() % 600, 'b'), "POST", clock_->now(),
                           random() % 8 == 0);
  }
  if (now->count() == 0) return;
  const auto item = now->data->at(random() % now->count());
  stage_.account.remove(*item->url.text());
  queue().removeData(item);
}

void Launch::weather(Random random) {
  constexpr std::uint32_t kinds[] = {0, reachability::kReachable,
                                     reachability::kReachable | reachability::kIsWwan};
  for (; !isOver_; std::this_thread::sleep_for(kTick)) {
    clock_->advance(kTick);
    if (random() % 50 == 0) clock_->advance(std::chrono::minutes(random() % 3000));
    if (random() % 200 == 0) clock_->advance(-3h);
    if (random() % 10 == 0) network_->change(kinds[random() % std::size(kinds)]);
    disk_->isFull = random() % 20 == 0;
    disk_->isUnreadable = !losesContainer_ && random() % 60 == 0;
    std::error_code ignored;
    if (losesContainer_ && random() % 150 == 0) {
      std::filesystem::remove_all(stage_.data, ignored);
    }
  }
}

}  // namespace zqm::soak
