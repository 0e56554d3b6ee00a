// The scenarios, the processes that go through them, and the judge.
#include "soak/QueueWalk.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <deque>
#include <filesystem>
#include <fstream>
#include <new>
#include <optional>
#include <thread>

#include "soak/QueueHost.h"

namespace zqm::soak {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using What = Steps::What;

constexpr int kItems = 64;
// An item whose removal makes a file large enough for compaction.
constexpr std::size_t kLargeBody = 100'000;
// A process takes milliseconds.
constexpr unsigned kLimitSeconds = 60;

template <class Condition>
void waitFor(const Condition& condition) {
  for (int turn = 0; !condition(); ++turn) {
    if (turn > 100'000) _exit(4);
    std::this_thread::sleep_for(300us);
  }
}

void damage(const std::string& path) {
  std::ofstream(path, std::ios::app) << "neither a frame nor zeros, and more than a head takes";
}

}  // namespace

struct WalkBoard {
  std::array<std::atomic<Fate>, kItems> fates;
  // How often the live processes hold an item, and how often the one after them.
  std::array<std::array<std::atomic<int>, kItems>, 2> held;
  std::atomic<bool> hasRecovered;
  std::atomic<bool> isDone;

  void count(std::size_t round, QueueHost& host) {
    for (const int number : host.numbers()) ++held[round][static_cast<std::size_t>(number)];
  }
  void startCounting() {
    for (auto& round : held) {
      for (auto& each : round) each = 0;
    }
    hasRecovered = isDone = false;
  }
};

// A host that tells the board what it does.
class QueueWalk::Actor {
 public:
  Actor(const std::string& root, WalkBoard& board, std::shared_ptr<Steps> steps)
      : board_(board), host_(std::in_place, root, std::move(steps)) {}

  void enqueue(int number) { enqueue(number, 20, false); }
  void enqueue(int number, std::size_t size, bool priority) {
    fate(number) = Fate::perhaps;
    host_->enqueue(number, size, priority);
    fate(number) = Fate::pending;
  }
  // Of an item that is not on the disk afterwards.
  void enqueueUnwritten(int number) {
    fate(number) = Fate::perhaps;
    host_->enqueue(number);
  }
  void remove(int number) {
    fate(number) = Fate::perhaps;
    host_->remove(number);
    fate(number) = Fate::gone;
  }
  QueueHost& host() { return *host_; }
  void end() { host_.reset(); }
  std::atomic<Fate>& fate(int number) { return board_.fates[static_cast<std::size_t>(number)]; }

 private:
  WalkBoard& board_;
  std::optional<QueueHost> host_;
};

struct QueueWalk::Scenario {
  using Body = std::function<void(const std::string& root, WalkBoard& board,
                                  const std::shared_ptr<Steps>& steps)>;
  const char* name;
  // Without a kill.
  Body prepare;
  Body act;
};

struct QueueWalk::Saved {
  std::string path;
  std::array<Fate, kItems> fates{};
};

std::vector<QueueWalk::Scenario> QueueWalk::scenarios() {
  using Shared = std::shared_ptr<Steps>;
  const auto nothing = [](const std::string&, WalkBoard&, const Shared&) {};
  // A file of `count` items for each of so many processes that lived beside each other, the second
  // item of each prioritised; the first process has the first name.
  const auto files = [](int processes, int count) {
    return [=](const std::string& root, WalkBoard& board, const Shared& steps) {
      std::deque<Actor> actors;
      for (int process = 0; process < processes; ++process) {
        Actor& made = actors.emplace_back(root, board, steps);
        for (int item = 1; item <= count; ++item) {
          made.enqueue(process * count + item, 20, item == 2);
        }
      }
    };
  };
  const auto firstFile = [](const std::string& root) {
    return containerIn(root) + "/ZQMQueueModel.plist";
  };
  const auto otherFile = [=](const std::string& root) -> std::string {
    for (const auto& each : fs::directory_iterator(containerIn(root))) {
      if (each.path() != firstFile(root)) return each.path();
    }
    return "";
  };
  const auto adopt = [](int next) {
    return [=](const std::string& root, WalkBoard& board, const Shared& steps) {
      Actor actor(root, board, steps);
      actor.host().recover();
      actor.enqueue(next);
      actor.remove(1);
      actor.enqueue(next + 1, 20, true);
    };
  };
  return {
      {"create", nothing,
       [](const std::string& root, WalkBoard& board, const Shared& steps) {
         Actor actor(root, board, steps);
         actor.enqueue(1);
         actor.enqueue(2, 20, true);
         actor.remove(1);
         actor.enqueue(3);
       }},
      {"compaction", files(1, 5),
       [](const std::string& root, WalkBoard& board, const Shared& steps) {
         Actor actor(root, board, steps);
         actor.enqueue(6, kLargeBody, false);
         // While the file is written anew, and while it catches up with that.
         int turn = 0;
         bool isInside = false;
         steps->before = [&](What what) {
           const bool isMeant = (what == What::create || what == What::sync) && turn < 3;
           if (!isMeant || (turn == 0 && what != What::create) || isInside) return;
           isInside = true;
           actor.enqueue(7 + turn, 20, turn == 1);
           actor.remove(1 + turn);
           isInside = false;
           ++turn;
         };
         actor.remove(6);
         waitFor([&] { return steps->named > 0; });
         actor.end();
         steps->before = nullptr;
       }},
      {"adoption of two", files(3, 3), adopt(10)},
      {"adoption of the first name", nothing,
       [](const std::string& root, WalkBoard& board, const Shared& steps) {
         Actor first(root, board, std::make_shared<Steps>());
         for (const int number : {1, 2, 3}) first.enqueue(number);
         Actor actor(root, board, steps);
         actor.enqueue(4);
         first.end();
         actor.host().recover();
         actor.remove(2);
         actor.enqueue(5);
       }},
      {"taking over another name",
       [=](const std::string& root, WalkBoard& board, const Shared& steps) {
         files(2, 3)(root, board, steps);
         for (const int number : {1, 2, 3}) board.fates[static_cast<std::size_t>(number)] = {};
         fs::remove(firstFile(root));
       },
       adopt(7)},
      {"adoption of a damaged file",
       [=](const std::string& root, WalkBoard& board, const Shared& steps) {
         files(2, 3)(root, board, steps);
         damage(otherFile(root));
       },
       adopt(7)},
      {"a damaged first file",
       [=](const std::string& root, WalkBoard& board, const Shared& steps) {
         files(2, 3)(root, board, steps);
         damage(firstFile(root));
       },
       adopt(7)},
      {"retry behind what is there", files(1, 3),
       [](const std::string& root, WalkBoard& board, const Shared& steps) {
         Actor actor(root, board, steps);
         steps->isFull = true;
         actor.enqueueUnwritten(4);
         waitFor([&] { return steps->refused >= 2; });
         actor.enqueueUnwritten(5);
         steps->isFull = false;
         actor.end();
         actor.fate(4) = actor.fate(5) = Fate::pending;
       }},
      {"retry of a new file", nothing,
       [](const std::string& root, WalkBoard& board, const Shared& steps) {
         Actor actor(root, board, steps);
         steps->isFull = true;
         actor.enqueueUnwritten(1);
         waitFor([&] { return steps->refused >= 2; });
         actor.enqueueUnwritten(2);
         steps->isFull = false;
         actor.end();
         actor.fate(1) = actor.fate(2) = Fate::pending;
       }},
      {"retry in place of the file", files(1, 3),
       [](const std::string& root, WalkBoard& board, const Shared& steps) {
         Actor actor(root, board, steps);
         steps->isFull = true;
         actor.fate(4) = Fate::perhaps;
         actor.host().enqueue(4, 4000, false);
         waitFor([&] { return steps->refused >= 2; });
         // More is missing than is there.
         actor.host().remove(4);
         actor.enqueueUnwritten(5);
         steps->isFull = false;
         actor.end();
         actor.fate(4) = Fate::gone;
         actor.fate(5) = Fate::pending;
       }},
      {"a lost descriptor, and an adoption meanwhile", nothing,
       [](const std::string& root, WalkBoard& board, const Shared& steps) {
         Actor owner(root, board, steps);
         for (const int number : {1, 2, 3}) owner.enqueue(number);
         const std::set<int> lost = descriptorsIn(containerIn(root));
         Actor other(root, board, steps);
         other.enqueue(4);
         for (const int each : lost) close(each);
         for (const int number : {1, 2, 3}) owner.fate(number) = Fate::twice;
         other.host().recover();
         owner.enqueueUnwritten(5);
         owner.end();
         owner.fate(5) = Fate::pending;
       }},
  };
}

QueueWalk::QueueWalk(Fault fault)
    : fault_(fault),
      board_(new (mmap(nullptr, sizeof(WalkBoard), PROT_READ | PROT_WRITE,
                       MAP_SHARED | MAP_ANONYMOUS, -1, 0)) WalkBoard) {}

QueueWalk::~QueueWalk() { munmap(board_, sizeof(WalkBoard)); }

std::vector<std::string> QueueWalk::names() {
  std::vector<std::string> all;
  for (const Scenario& each : scenarios()) all.emplace_back(each.name);
  return all;
}

void QueueWalk::walk(const std::string& part, Depth depth) {
  for (const Scenario& each : scenarios()) {
    if (std::string(each.name).find(part) == std::string::npos || isOver(depth)) continue;
    const std::size_t before = cases_;
    const std::size_t faults = faults_.size();
    walk(each, depth);
    summary_.append(each.name)
        .append(": ")
        .append(std::to_string(cases_ - before))
        .append(" cases, ")
        .append(std::to_string(faults_.size() - faults))
        .append(" faults\n");
  }
}

void QueueWalk::walk(const Scenario& scenario, Depth depth) {
  fs::remove_all(root_);
  fs::create_directories(containerIn(root_));
  for (auto& each : board_->fates) each = Fate::gone;
  where_ = scenario.name;
  if (run([&] { scenario.prepare(root_, *board_, std::make_shared<Steps>()); }) != 0) {
    return blame("it could not be prepared");
  }
  const Saved prepared = save("prepared");
  for (long step = 1, end = SIGKILL; end == SIGKILL && !isOver(depth); ++step) {
    restore(prepared);
    where_ = std::string(scenario.name) + ", killed at " + std::to_string(step);
    end = run([&] { scenario.act(root_, *board_, steps(step, SIGKILL)); });
    if (end != 0 && end != SIGKILL) return blame("the process ended with " + std::to_string(end));
    visit(save("killed"), depth);
  }
}

void QueueWalk::visit(const Saved& saved, Depth depth) {
  restore(saved);
  check();
  const std::string where = where_;
  for (long step = 1; depth.withSecondKills && !isOver(depth); ++step) {
    where_ = where + ", then in the recovery at " + std::to_string(step);
    if (!killInRecovery(saved, step)) break;
  }
  for (long step = 1; depth.withStops && !isOver(depth); ++step) {
    where_ = where + ", then another stopped at " + std::to_string(step);
    if (!stopInLook(saved, step)) break;
  }
  where_ = where;
}

// Two processes, of which one recovers before the other and one after; then another one.
void QueueWalk::check() {
  board_->startCounting();
  const int end = run([&] {
    {
      const auto plain = steps(0, 0);
      QueueHost one(root_, plain);
      QueueHost other(root_, plain);
      other.recover();
      one.recover();
      board_->count(0, one);
      board_->count(0, other);
    }
    QueueHost next(root_, steps(0, 0));
    next.recover();
    board_->count(1, next);
  });
  if (end != 0) return blame("the process after it ended with " + std::to_string(end));
  judge(0, "in memory");
  judge(1, "on the disk");
  ++cases_;
}

bool QueueWalk::killInRecovery(const Saved& saved, long step) {
  restore(saved);
  const int end = run([&] {
    QueueHost host(root_, steps(step, SIGKILL));
    host.recover();
  });
  check();
  return end == SIGKILL;
}

bool QueueWalk::stopInLook(const Saved& saved, long step) {
  restore(saved);
  board_->startCounting();
  const auto start = [](const std::function<void()>& body) {
    const pid_t child = fork();
    if (child != 0) return child;
    alarm(kLimitSeconds);
    body();
    _exit(0);
  };
  const pid_t stopping = start([&] {
    const auto counted = steps(step, SIGSTOP);
    Actor actor(root_, *board_, counted);
    actor.host().recover();
    actor.enqueue(kItems - 1, kLargeBody, false);
    const long named = counted->named;
    actor.remove(kItems - 1);
    waitFor([&] { return counted->named > named; });
    actor.host().recover();
    board_->count(0, actor.host());
    board_->isDone = true;
    for (;;) pause();
  });
  int status = 0;
  bool isStopped = false;
  waitFor([&] {
    isStopped = waitpid(stopping, &status, WUNTRACED | WNOHANG) == stopping;
    return isStopped || board_->isDone;
  });
  if (isStopped && !WIFSTOPPED(status)) {
    blame("the stopped process ended with " + std::to_string(status));
    return false;
  }
  const pid_t recovering = start([&] {
    Actor actor(root_, *board_, steps(0, 0));
    actor.host().recover();
    board_->hasRecovered = true;
    waitFor([&] { return board_->isDone.load(); });
    actor.host().recover();
    actor.enqueue(kItems - 2);
    board_->count(0, actor.host());
  });
  waitFor([&] { return board_->hasRecovered || kill(recovering, 0) != 0; });
  kill(stopping, SIGCONT);
  end(recovering, "the recovering process");
  kill(stopping, SIGKILL);
  waitpid(stopping, &status, 0);
  run([&] {
    QueueHost next(root_, steps(0, 0));
    next.recover();
    board_->count(1, next);
  });
  judge(0, "in memory");
  judge(1, "on the disk");
  ++cases_;
  return isStopped;
}

QueueWalk::Saved QueueWalk::save(const std::string& where) const {
  Saved saved{directory_.path() / where};
  fs::remove_all(saved.path);
  fs::copy(containerIn(root_), saved.path, fs::copy_options::recursive);
  for (std::size_t item = 0; item < kItems; ++item) saved.fates[item] = board_->fates[item];
  return saved;
}

void QueueWalk::restore(const Saved& saved) {
  fs::remove_all(root_);
  fs::create_directories(root_);
  fs::copy(saved.path, containerIn(root_), fs::copy_options::recursive);
  for (std::size_t item = 0; item < kItems; ++item) board_->fates[item] = saved.fates[item];
}

std::shared_ptr<Steps> QueueWalk::steps(long at, int signal) const {
  auto made = std::make_shared<Steps>();
  made->at = at;
  made->signal = signal;
  made->fault = fault_;
  return made;
}

int QueueWalk::run(const std::function<void()>& body) {
  const pid_t child = fork();
  if (child != 0) return end(child, "");
  alarm(kLimitSeconds);
  try {
    body();
  } catch (...) {
    _exit(3);
  }
  _exit(0);
}

int QueueWalk::end(pid_t child, const std::string& who) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  const int end = WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
  if (end != 0 && !who.empty()) blame(who + " ended with " + std::to_string(end));
  return end;
}

void QueueWalk::judge(std::size_t round, const std::string& what) {
  std::string wrong;
  for (std::size_t item = 0; item < kItems; ++item) {
    const Fate fate = board_->fates[item];
    const int held = board_->held[round][item];
    const int least = fate == Fate::pending || fate == Fate::twice ? 1 : 0;
    const int most = fate == Fate::gone ? 0 : fate == Fate::twice ? 2 : 1;
    if (held >= least && held <= most) continue;
    wrong.append(" ").append(std::to_string(item));
    wrong.append(held < least ? " lost" : held > 1 ? " twice" : " back");
  }
  if (!wrong.empty()) blame(what + ":" + wrong);
}

void QueueWalk::blame(const std::string& fault) { faults_.push_back(where_ + ": " + fault); }

}  // namespace zqm::soak
