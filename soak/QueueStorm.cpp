// The storm, and its judge.
#include "soak/QueueStorm.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <sstream>
#include <thread>

#include "soak/QueueHost.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/core/user/ZQMUserModel.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/queue/JournalForm.h"
#include "zqm/queue/ZQMQueueRule.h"

namespace zqm::soak {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::size_t kMostProcesses = 8;
constexpr int kNumbersOfASlot = 1'000'000;
constexpr int kDamagedCode = 7;
// Every so manieth run is that of a start.
constexpr int kRunsOfAStart = 10;

}  // namespace

struct StormBoard {
  // How many items a slot has enqueued, over all its processes.
  std::array<std::atomic<int>, kMostProcesses> enqueued;
  std::atomic<bool> isDiskFull;
  std::atomic<bool> isOver;
};

// In a process of its own.
class QueueStorm::Host {
 public:
  Host(const QueueStorm& storm, int slot) : storm_(storm), slot_(slot) {
    steps_->before = [this](Steps::What) { steps_->isFull = board().isDiskFull.load(); };
  }

  void run() {
    const Process::Scope scope(host_.process());
    ZQMDatabase::saveObject<ZQMUserModel>(ZQMUserModel());
    host_.fakes().http->answer = [this](const HttpRequest& request) {
      if (request.url.find("queue.test") != std::string::npos) noteDelivery(numberOf(request.url));
      return testing::FakeHttp::answered(200, "");
    };
    std::atomic<bool> isOver = false;
    std::thread runner([&] {
      const Process::Scope inRunner(host_.process());
      for (int run = 0; storm_.options_.delivers && !isOver; ++run) startOrRun(run);
    });
    enqueueAll();
    // What is refused at the very end would be lost rightly.
    while (board().isDiskFull || steps_->isBehind) std::this_thread::sleep_for(1ms);
    isOver = true;
    runner.join();
    while (board().isDiskFull || steps_->isBehind) std::this_thread::sleep_for(1ms);
    noteWritten();
  }

 private:
  // Beside the run of a start, another one would deliver the same items.
  void startOrRun(int run) {
    if (run % kRunsOfAStart == 0) {
      ZQMCore::start("storm", nullptr);
    } else {
      ZQMQueueRule::sharedInstance().startQueue();
    }
    host_.process().drain();
    std::this_thread::sleep_for(1ms);
  }

  void enqueueAll() {
    auto& enqueued = board().enqueued[static_cast<std::size_t>(slot_)];
    // A number is taken before its item is enqueued, so that none is used twice.
    while (enqueued < storm_.options_.items) {
      const int number = slot_ * kNumbersOfASlot + enqueued++;
      host_.enqueue(number, 30, number % 10 == 0);
      note({Record::What::unwritten, number, getpid()});
      unwritten_.push_back(number);
      if (!steps_->isBehind) noteWritten();
      if (number % 4 == 0) std::this_thread::sleep_for(800us);
    }
  }

  // A run removes an item before it sends the next.
  void noteDelivery(int number) const {
    note({steps_->isBehind ? Record::What::sent : Record::What::sentWithAllWritten, number,
          getpid()});
  }

  void noteWritten() {
    for (const int number : unwritten_) note({Record::What::written, number, getpid()});
    unwritten_.clear();
  }

  void note(const Record& record) const {
    if (write(storm_.log_, &record, sizeof record) != sizeof record) _exit(5);
  }

  StormBoard& board() const { return *storm_.board_; }

  const QueueStorm& storm_;
  const int slot_;
  const std::shared_ptr<Steps> steps_ = std::make_shared<Steps>();
  std::vector<int> unwritten_;
  QueueHost host_{storm_.directory_.path(), steps_};
};

QueueStorm::QueueStorm(Options options)
    : options_(options),
      board_(new (mmap(nullptr, sizeof(StormBoard), PROT_READ | PROT_WRITE,
                       MAP_SHARED | MAP_ANONYMOUS, -1, 0)) StormBoard()),
      log_(open((directory_.path() / "log").c_str(), O_CREAT | O_RDWR | O_APPEND | O_CLOEXEC,
                0600)) {
  fs::create_directories(containerIn(directory_.path()));
}

QueueStorm::~QueueStorm() {
  close(log_);
  munmap(board_, sizeof(StormBoard));
}

void QueueStorm::run() {
  std::vector<pid_t> running;
  for (int slot = 0; slot < options_.processes; ++slot) running.push_back(start(slot));
  const pid_t reader = options_.hasReader ? startReader() : -1;
  const auto begin = std::chrono::steady_clock::now();
  while (std::ranges::any_of(running, [](pid_t each) { return each != 0; })) {
    std::this_thread::sleep_for(std::chrono::microseconds(random_() % 12'000));
    setDisk(true);
    const pid_t victim = running[random_() % running.size()];
    const bool mayKill = kills_ < static_cast<std::size_t>(options_.kills) && victim != 0;
    if (mayKill && kill(victim, SIGKILL) == 0) {
      killed_.insert(victim);
      ++kills_;
    }
    reap(running);
    if (std::chrono::steady_clock::now() - begin > 10min) {
      faults_.push_back("it does not end");
      for (const pid_t each : running) {
        if (each != 0) kill(each, SIGKILL);
      }
      break;
    }
  }
  setDisk(false);
  board_->isOver = true;
  int status = 0;
  if (reader > 0 && waitpid(reader, &status, 0) == reader && status != 0) {
    faults_.push_back("the reader ended with " + std::to_string(status));
  }
  if (kills_ < static_cast<std::size_t>(options_.kills)) faults_.push_back("too few were killed");
  judge(readWhatIsLeft());
}

pid_t QueueStorm::start(int slot) {
  const pid_t child = fork();
  if (child != 0) return child;
  {
    Host host(*this, slot);
    host.run();
  }
  _exit(0);
}

// Without any lock, as a backup would.
pid_t QueueStorm::startReader() {
  const pid_t child = fork();
  if (child != 0) return child;
  while (!board_->isOver) {
    std::error_code error;
    for (const auto& each : fs::directory_iterator(containerIn(directory_.path()), error)) {
      std::ifstream file(each.path(), std::ios::binary);
      const std::string content((std::istreambuf_iterator<char>(file)), {});
      if (readJournal(content).state == JournalContent::State::damaged) _exit(kDamagedCode);
    }
  }
  _exit(0);
}

// Those that were killed start again.
void QueueStorm::reap(std::vector<pid_t>& running) {
  for (std::size_t slot = 0; slot < running.size(); ++slot) {
    int status = 0;
    if (running[slot] == 0 || waitpid(running[slot], &status, WNOHANG) != running[slot]) continue;
    const bool isKilled = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    if (!isKilled && status != 0) {
      faults_.push_back("a process ended with " + std::to_string(status));
    }
    running[slot] = isKilled ? start(static_cast<int>(slot)) : 0;
  }
}

// A third of the time.
void QueueStorm::setDisk(bool mayBeFull) {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  board_->isDiskFull = mayBeFull && options_.fillsDisk && now % 900ms < 300ms;
}

std::vector<int> QueueStorm::readWhatIsLeft() {
  const std::string path = directory_.path() / "left";
  const pid_t child = fork();
  if (child == 0) {
    QueueHost host(directory_.path());
    host.recover();
    std::ofstream file(path);
    for (const int number : host.numbers()) file << number << "\n";
    file.close();
    _exit(host.reports().empty() ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0) faults_.push_back("what is left could not be read without a report");
  std::vector<int> numbers;
  std::ifstream file(path);
  for (int number = 0; file >> number;) numbers.push_back(number);
  return numbers;
}

std::vector<QueueStorm::Record> QueueStorm::records() const {
  std::vector<Record> found(fs::file_size(directory_.path() / "log") / sizeof(Record));
  std::ifstream file(directory_.path() / "log", std::ios::binary);
  file.read(reinterpret_cast<char*>(found.data()),
            static_cast<std::streamsize>(found.size() * sizeof(Record)));
  return found;
}

// The deliveries of killed processes whose removal may not have been written.
std::set<std::size_t> QueueStorm::inFlight(const std::vector<Record>& records) const {
  std::map<pid_t, std::set<std::size_t>> open;
  for (std::size_t index = 0; index < records.size(); ++index) {
    const Record& each = records[index];
    if (each.what == Record::What::sentWithAllWritten) open[each.process].clear();
    const bool isSent =
        each.what == Record::What::sent || each.what == Record::What::sentWithAllWritten;
    if (isSent && killed_.contains(each.process)) open[each.process].insert(index);
  }
  std::set<std::size_t> all;
  for (const auto& [process, indices] : open) all.insert(indices.begin(), indices.end());
  return all;
}

void QueueStorm::judge(const std::vector<int>& left) {
  const std::vector<Record> all = records();
  const std::set<std::size_t> open = inFlight(all);
  std::set<int> written;
  std::set<int> unwritten;
  std::map<int, int> sent;
  std::map<int, int> completed;
  for (std::size_t index = 0; index < all.size(); ++index) {
    const auto [what, number, process] = all[index];
    if (what == Record::What::written) {
      written.insert(number);
    } else if (what == Record::What::unwritten) {
      unwritten.insert(number);
    } else {
      ++sent[number];
      completed[number] += open.contains(index) ? 0 : 1;
    }
  }
  std::map<int, int> pending;
  for (const int number : left) ++pending[number];
  const auto blame = [&](int number, const char* what) {
    if (faults_.size() < 20) faults_.push_back("item " + std::to_string(number) + what);
  };
  for (const int number : unwritten) {
    if (sent.contains(number) || pending.contains(number)) continue;
    const bool mustBeThere = written.contains(number) || !options_.fillsDisk;
    mustBeThere ? blame(number, " is lost") : static_cast<void>(++unwritten_);
  }
  for (const auto& [number, times] : completed) {
    if (times + pending[number] > 1) blame(number, " was delivered and is there again");
  }
  for (const auto& [number, times] : pending) {
    if (times > 1) blame(number, " is there twice");
  }
  for (const auto& [number, times] : sent) again_ += static_cast<std::size_t>(times - 1);
  acknowledged_ = unwritten.size();
  delivered_ = sent.size();
  pending_ = left.size();
}

std::string QueueStorm::summary() const {
  std::ostringstream text;
  text << kills_ << " kills; " << acknowledged_ << " items acknowledged, " << delivered_
       << " delivered, " << pending_ << " pending; " << again_
       << " deliveries again that were in flight at a kill, " << unwritten_
       << " items not on the disk when their process was killed; " << faults_.size() << " faults";
  return text.str();
}

}  // namespace zqm::soak
