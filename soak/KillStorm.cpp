// The storm and its judge.
#include "soak/KillStorm.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/support/FakePlatform.h"
#include "tools/zqm/Program.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/platform/linux/LinuxPlatform.h"
#include "zqm/queue/ZQMQueueRule.h"
#include "zqm/queue/executor/ZQMExecutorOperation.h"

namespace zqm::soak {
namespace {

using namespace std::chrono_literals;

constexpr const char* kMainPackage = "ZQM_STORM_PACKAGE";
constexpr const char* kData = "ZQM_STORM_DATA";
constexpr const char* kApplicationId = "ZQM_STORM_APPLICATION_ID";
constexpr const char* kUrl = "ZQM_STORM_URL";
constexpr const char* kFirstNumber = "ZQM_STORM_FIRST_NUMBER";

constexpr int kHosts = 2;
constexpr int kNumbersOfALaunch = 2'000'000;
constexpr std::size_t kMostPending = 200;
// One run is under way at any time; see below.
constexpr std::size_t kMostInFlight = 1;

Platform platformFor(const std::string& mainPackage, const std::string& data) {
  Platform platform = makeLinuxPlatform({.mainPackage = mainPackage, .userDataDirectory = data});
  platform.network = std::make_shared<testing::FakeNetwork>();
  return platform;
}

int numberOf(std::string_view url) {
  return std::stoi(std::string(url.substr(url.find_last_of('/') + 1)));
}

// In one piece, whatever else is printed.
void tell(char what, int number) {
  const std::string line = "\nstorm " + std::string(1, what) + " " + std::to_string(number) + "\n";
  if (write(STDOUT_FILENO, line.data(), line.size()) < 0) _exit(1);
}

void enqueueAndRemove(const std::string& url, int number, std::minstd_rand random) {
  ZQMQueueRule& rule = ZQMQueueRule::sharedInstance();
  for (;; ++number) {
    rule.enqueue(url + std::to_string(number), Bytes(random() % 600, 7), "POST",
                 platform().clock->now(), random() % 7 == 0);
    tell('+', number);
    const auto queue = rule.getQueue();
    if (queue->count() < kMostPending && random() % 8 != 0) continue;
    // The head is delivered at this moment, perhaps.
    const std::size_t index = random() % 2 == 0 ? 0 : random() % (queue->count() / 2 + 1);
    if (index >= queue->count()) continue;
    const auto item = queue->data->at(index);
    tell('?', numberOf(*item->url.text()));
    rule.removeData(item);
    tell('-', numberOf(*item->url.text()));
  }
}

}  // namespace

void runStorm() {
  Process::setDefaultPlatform(
      [] { return platformFor(std::getenv(kMainPackage), std::getenv(kData)); });
  static std::atomic<bool> isStarted = false;
  ZQMCore::start(std::getenv(kApplicationId), [] {
    tell('s', 0);
    isStarted = true;
  });
  const int first = std::stoi(std::getenv(kFirstNumber));
  for (int host = 0; host < kHosts; ++host) {
    const int number = first + host * (kNumbersOfALaunch / kHosts);
    std::thread(enqueueAndRemove, std::getenv(kUrl), number, std::minstd_rand(number)).detach();
  }
  // Beside the run of the start, another one would deliver the same items. The handler is called
  // after that one was listed, and a run that leaves items behind lists the next as its last act.
  for (;; std::this_thread::sleep_for(100us)) {
    if (!isStarted || !ZQMExecutorOperation::sharedInstance().operations().empty()) continue;
    ZQMQueueRule::sharedInstance().startQueue();
  }
}

KillStorm::KillStorm(std::string program, std::vector<std::string> arguments)
    : program_(std::move(program)), arguments_(std::move(arguments)) {
  backend_.onRequest([this](const tools::BackendRequest& request) {
    const bool isTaken =
        request.reply.status == 200 && request.reply.misbehaviour == tools::Misbehaviour::none;
    if (request.service != "queue" || !isTaken) return;
    const MutexLock lock(mutex_);
    ++answered_[numberOf(request.request.target)];
  });
}

Platform KillStorm::platform() const {
  return platformFor(sandbox_.hostPackage(), root_.path() / "data");
}

void KillStorm::kill() {
  setWeather();
  const Told told = launchAndKill();
  const Numbers left = readWhatIsLeft(starts_ > 0);
  judge(told, left, takeAnswered());
}

// Most launches meet a healthy backend.
void KillStorm::setWeather() {
  std::optional<tools::ServerReply> reply;
  if (kills_ % 6 == 3) reply = {.status = 503};
  if (kills_ % 6 == 5) reply = {.misbehaviour = tools::Misbehaviour::resetBeforeReply};
  backend_.answerWith("queue", reply);
}

KillStorm::Told KillStorm::launchAndKill() {
  const auto life = longestLife_ * (random_() % 1000) / 1000 + 1ms;
  const auto run = tools::runProgram(
      program_, arguments_,
      {{kMainPackage, sandbox_.hostPackage()},
       {kData, root_.path() / "data"},
       {kApplicationId, sandbox_.applicationId()},
       {kUrl, backend_.url() + "queue/"},
       {kFirstNumber, std::to_string(static_cast<int>(kills_) * kNumbersOfALaunch)}},
      life);
  if (!run.end.starts_with("killed")) blame("the launch ended by itself: " + run.end);
  Told told;
  std::istringstream output(run.output);
  for (std::string line; std::getline(output, line);) {
    if (!line.starts_with("storm ")) continue;
    const int number = std::stoi(line.substr(8));
    if (line[6] == 's') told.started = true;
    if (line[6] == '+') told.enqueued.insert(number);
    if (line[6] == '?') told.toRemove.insert(number);
    if (line[6] == '-') told.removed.insert(number);
  }
  if (!told.started) longestLife_ = std::min<std::chrono::milliseconds>(longestLife_ * 5 / 4, 5s);
  ++kills_;
  starts_ += told.started ? 1 : 0;
  return told;
}

KillStorm::Numbers KillStorm::readWhatIsLeft(bool mustBeRegistered) {
  Process process(platform());
  const Process::Scope scope(process);
  if (mustBeRegistered && !ZQMCore::isStarted()) blame("the registration is lost");
  Numbers numbers;
  // A damaged file would be quarantined, which is looked for at the end.
  ZQMQueueRule::sharedInstance().adoptQueues();
  ZQMQueueRule::sharedInstance()
      .getQueue()
      ->data.value_or(ZQMQueueItems())
      .forEach([&](const ZQMQueueDataModel& item) { numbers.insert(numberOf(*item.url.text())); });
  return numbers;
}

std::map<int, int> KillStorm::takeAnswered() {
  const MutexLock lock(mutex_);
  return std::exchange(answered_, {});
}

void KillStorm::judge(const Told& told, const Numbers& left, const std::map<int, int>& answered) {
  left_.insert(told.enqueued.begin(), told.enqueued.end());
  for (const int number : left_) {
    const bool mayBeGone = answered.contains(number) || told.toRemove.contains(number);
    if (!left.contains(number) && !mayBeGone) blame("item " + std::to_string(number) + " is lost");
  }
  for (const int number : told.removed) {
    if (left.contains(number)) blame("removed item " + std::to_string(number) + " is back");
  }
  std::size_t inFlight = 0;
  for (const auto& [number, times] : answered) {
    if (gone_.contains(number)) blame("item " + std::to_string(number) + " was delivered again");
    inFlight += static_cast<std::size_t>(times - 1) + (left.contains(number) ? 1 : 0);
    if (!left.contains(number)) gone_.insert(number);
  }
  if (inFlight > kMostInFlight) blame(std::to_string(inFlight) + " delivered items are back");
  inFlight_ = std::max(inFlight_, inFlight);
  std::ranges::set_difference(left_, left, std::inserter(gone_, gone_.end()));
  gone_.insert(told.removed.begin(), told.removed.end());
  enqueued_ += told.enqueued.size();
  removed_ += told.removed.size();
  delivered_ += answered.size();
  left_ = left;
}

void KillStorm::finish() {
  backend_.answerWith("queue", std::nullopt);
  {
    Process process(platform());
    const Process::Scope scope(process);
    ZQMQueueRule& rule = ZQMQueueRule::sharedInstance();
    ZQMCore::start(sandbox_.applicationId(), nullptr);
    process.drain();
    // A run skips the item after a delivered one.
    for (int run = 0; run < 20 && rule.getQueue()->count() > 0; ++run) {
      rule.startQueue();
      process.drain();
    }
    if (rule.counts().delivered != left_.size()) blame("not all could be delivered at the end");
  }
  judge({}, readWhatIsLeft(true), takeAnswered());
  for (const auto& file : std::filesystem::recursive_directory_iterator(root_.path() / "data")) {
    const std::string name = file.path().filename();
    if (name.find("damaged") != std::string::npos) blame("a damaged file was quarantined: " + name);
  }
}

void KillStorm::blame(const std::string& fault) {
  faults_.push_back("kill " + std::to_string(kills_) + ": " + fault);
}

std::string KillStorm::summary() const {
  std::ostringstream text;
  text << kills_ << " kills, " << starts_ << " after the start; " << enqueued_
       << " items acknowledged, " << delivered_ << " delivered, " << removed_
       << " removed; at most " << inFlight_ << " delivered again by the next launch; "
       << faults_.size() << " faults";
  return text.str();
}

}  // namespace zqm::soak
